#pragma once

#include <pemo/HTTPExchange.h>

#include <string>

namespace pemo::fuzz {

/// The whole system manager, started in this process and answering
/// requests in-process through its real dispatcher and handlers, inside a
/// private mount and network namespace where every program it may run
/// (poweroff, reboot, iptables, logrotate, hwclock, ifup, ...) is /bin/true
/// and everything it may write (/var, /opt, /etc/network) is a private
/// tmpfs: a fuzzed
/// request can neither reach the machine nor the network.
///
/// Needs root for the namespaces; instance() exits the process with a
/// message when they cannot be made, rather than run unconfined.
class FuzzedSystem
{
public:
    static FuzzedSystem& instance();

    /// The answer to one request with the given method, path, authentication
    /// header (none when empty) and body. Ends the process with abort() (a
    /// fault to libFuzzer) when no answer came: every request is answered,
    /// whatever it holds.
    HTTPExchange::Answer answered(const std::string& method, const std::string& path, const std::string& token,
                                  const std::string& body);

    /// Where skills are searched for; writable.
    static const std::string SKILL_DIRECTORY;
    /// The trusted token that holds every permission.
    static const std::string TOKEN;

private:
    FuzzedSystem();
    unsigned _port = 0;
};

} // namespace pemo::fuzz
