// Any request, path and body, through the system manager's dispatcher and
// whichever handler the path reaches. Input: "METHOD PATH\nBODY"; a first
// line without a space is a POST to that path.
#include "FuzzedSystem.h"

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size)
{
    const std::string input(data, size);
    const std::string line = input.substr(0, input.find('\n'));
    const std::string body = line.size() < input.size() ? input.substr(line.size() + 1) : std::string();
    const auto space = line.find(' ');
    const std::string method = space == std::string::npos ? "POST" : line.substr(0, space);
    const std::string path = space == std::string::npos ? line : line.substr(space + 1);
    pemo::fuzz::FuzzedSystem::instance().answered(method, path, pemo::fuzz::FuzzedSystem::TOKEN, body);
    return 0;
}
