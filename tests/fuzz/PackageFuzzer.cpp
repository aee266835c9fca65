// A skill's package.json as the catalogue reads it when the skills are
// listed.
#include "FuzzedSystem.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sys/stat.h>

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size)
{
    auto& system = pemo::fuzz::FuzzedSystem::instance();
    const std::string skill = pemo::fuzz::FuzzedSystem::SKILL_DIRECTORY + "/fuzzed";
    ::mkdir(skill.c_str(), 0755);
    std::ofstream(skill + "/package.json", std::ios::binary | std::ios::trunc).write(data, static_cast<long>(size));
    const auto answer = system.answered("GET", "/skill/list", pemo::fuzz::FuzzedSystem::TOKEN, "");
    if (answer.status != 200)
    {
        std::fprintf(stderr, "/skill/list answered %d %s\n", answer.status, answer.reason.c_str());
        std::abort();
    }
    return 0;
}
