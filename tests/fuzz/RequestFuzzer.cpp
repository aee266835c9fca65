// Any request, path and body, through the system manager's dispatcher and
// whichever handler the path reaches. Input: "METHOD PATH\nBODY"; a first
// line without a space is a POST to that path.
#include "FuzzedSystem.h"

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size)
{
    const auto [line, body] = pemo::fuzz::splitFirstLine(data, size);
    const auto space = line.find(' ');
    const std::string method = space == std::string::npos ? "POST" : line.substr(0, space);
    const std::string path = space == std::string::npos ? line : line.substr(space + 1);
    pemo::fuzz::FuzzedSystem::instance().answered(method, path, pemo::fuzz::FuzzedSystem::TOKEN, body);
    return 0;
}
