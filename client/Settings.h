#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace pemo {
namespace client {

/// Where the system manager is and who pemoctl is to it.
struct Settings
{
    std::string host = "127.0.0.1";
    std::uint16_t port = 8080;
    /// Sent in the Pemo-Authenticate header; none: no header at all.
    std::optional<std::string> token;
    /// Seconds to wait for an answer; long calls (downloads, installs,
    /// time synchronisation) wait without limit unless this is given.
    std::optional<unsigned> timeout;

    /// "host:port", as messages name the system manager.
    std::string address() const;

    /// The token files, most personal first: ~/.config/pemo/token (from
    /// home, when there is one), then /etc/pemo/token.
    static std::vector<std::string> tokenFiles(const char* home);

    /// The token in the first of paths that can be read, without the line
    /// break and blanks around it; nothing when none can be read or the one
    /// read holds only blanks.
    static std::optional<std::string> readToken(const std::vector<std::string>& paths);
};

} // namespace client
} // namespace pemo
