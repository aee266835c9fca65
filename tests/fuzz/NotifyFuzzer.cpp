// A notification body posted to /system_notify.
#include "FuzzedSystem.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size)
{
    const auto answer = pemo::fuzz::FuzzedSystem::instance().request(
        "POST", "/system_notify", pemo::fuzz::FuzzedSystem::TOKEN, std::string(data, size));
    if (answer.status < 100 || answer.status > 599)
    {
        std::fprintf(stderr, "/system_notify got no answer (status %d)\n", answer.status);
        std::abort();
    }
    return 0;
}
