#pragma once

#include <Poco/AutoPtr.h>
#include <Poco/Logger.h>
#include <Poco/Util/AbstractConfiguration.h>

#include <string>
#include <vector>

namespace pemo {
namespace system {

/// The process id of the first running process whose command line contains
/// name ("pgrep -f"); 0 when there is none. Throws std::invalid_argument
/// ("stoi") when pgrep prints something that is not a number.
int getPID(const std::string& name);

/// The process ids of every running process whose command line contains
/// name ("pgrep -f"), in pgrep's order; none when there is none. Throws as
/// getPID() does.
std::vector<int> getPIDs(const std::string& name);

/// The DHCP client of the wireless interface, started by ifup as a rule;
/// this starts one when none runs and makes it renew its lease.
class Udhcpc
{
public:
    struct Params
    {
        std::string executable = "udhcpc";
        /// Passed as one single argument, unsplit.
        std::string arguments = "-i wlan0";

        Params() = default;
        /// Reads "executable" and "arguments"; an absent key (or a null
        /// view) keeps the default.
        explicit Params(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config);
    };

    explicit Udhcpc(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config);
    explicit Udhcpc(const Params& params);

    /// Launches the client and returns at once; it is reaped when it ends.
    /// Throws Poco::SystemException when it cannot be launched.
    void start();
    bool isRunning();
    /// Sends the running client SIGUSR1, on which it renews its lease.
    /// False (and logged) when none runs or the signal cannot be sent.
    bool renew();
    /// Ends every running client (SIGTERM, on which it releases its lease and
    /// unconfigures the interface) and waits up to STOP_WAIT_MS for them to
    /// be gone; one still there then is killed. Logs what it did; never
    /// throws.
    void stop();

    static constexpr long STOP_WAIT_MS = 5000;

private:
    Params _params;
    Poco::Logger& _logger;
};

} // namespace system
} // namespace pemo
