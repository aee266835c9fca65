// The management routes' bodies as the system manager sends them: the first
// byte picks the route, the rest is the body.
#include "FuzzedSystem.h"

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size)
{
    static const char* const routes[] = {"/_M_/session",     "/_M_/current-session", "/_M_/delete-session",
                                         "/_M_/system/wipe", "/_M_/system/backup",   "/_M_/system/restore"};
    if (size == 0)
        return 0;
    const char* route = routes[static_cast<unsigned char>(data[0]) % (sizeof(routes) / sizeof(routes[0]))];
    pemo::fuzz::FuzzedSystem::instance().answered("POST", route, "wexlor", std::string(data + 1, size - 1));
    return 0;
}
