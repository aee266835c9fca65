#include "Settings.h"

#include <fstream>
#include <iterator>

namespace pemo {
namespace client {

std::string Settings::address() const
{
    const bool ipv6 = host.find(':') != std::string::npos;
    return (ipv6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

std::vector<std::string> Settings::tokenFiles(const char* home)
{
    std::vector<std::string> paths;
    if (home && *home)
        paths.push_back(std::string(home) + "/.config/pemo/token");
    paths.push_back("/etc/pemo/token");
    return paths;
}

std::optional<std::string> Settings::readToken(const std::vector<std::string>& paths)
{
    static const char* const blanks = " \t\r\n";
    for (const auto& path : paths)
    {
        std::ifstream in(path);
        if (!in)
            continue;
        const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        const auto first = text.find_first_not_of(blanks);
        if (first == std::string::npos)
            return std::nullopt;
        return text.substr(first, text.find_last_not_of(blanks) - first + 1);
    }
    return std::nullopt;
}

} // namespace client
} // namespace pemo
