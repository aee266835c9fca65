#pragma once

#include <Poco/AutoPtr.h>
#include <Poco/Logger.h>
#include <Poco/Util/AbstractConfiguration.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace pemo {
namespace system {

/// The device's wall clock: a one-shot synchronisation over NTP, the time
/// zone (a symbolic link to the zone's compiled rules plus a file naming the
/// zone) and the current time. Every operation holds one lock, so a time-zone
/// request waits while a synchronisation runs its programs.
class TimeManager
{
public:
    /// One external program and its argument list.
    struct Program
    {
        std::string command;
        std::vector<std::string> arguments;
    };

    struct Params
    {
        std::string timezone_path = "/var/etc/timezone";
        std::string localtime_path = "/var/etc/localtime";
        std::string zoneinfo_path = "/usr/share/zoneinfo";
        std::string ntpd_init = "/etc/init.d/S66ntp";
        Program ntpdate;
        Program hwclock;
    };

    /// config is the "SystemManager.time" view; a missing key keeps its
    /// default. An argument list ends at its first missing index.
    explicit TimeManager(Poco::AutoPtr<Poco::Util::AbstractConfiguration> config);
    virtual ~TimeManager();

    /// Nothing to start or stop: the manager has no thread.
    void start();
    void stop();

    /// Stops the NTP daemon, sets the clock once with ntpdate, copies it to
    /// the hardware clock and starts the daemon again, each program waited
    /// for. Throws TimeManagerException at the first program that cannot be
    /// run or fails; the later ones do not run, so a failing ntpdate or
    /// hwclock leaves the daemon stopped until the next good synchronisation.
    void synchronize();

    /// Points localtime_path at the zone's file under zoneinfo_path and
    /// writes zone to timezone_path. Throws TimeManagerException "Unknown
    /// Time Zone: " + zone (link and file untouched) when the zone has no
    /// file, or the failing step's text.
    void setTimezone(const std::string& zone);

    /// The first line of timezone_path, "Etc/UTC" when there is no such
    /// file. Throws TimeManagerException when it cannot be read.
    std::string getTimezone();

    /// The system clock in nanoseconds since the Unix epoch.
    std::int64_t getCurrentTime();

    const Params& params() const { return _params; }

private:
    void run(const std::string& command, const std::vector<std::string>& arguments, const std::string& failure);

    Poco::Logger& _logger;
    Params _params;
    std::mutex _mutex;
};

} // namespace system
} // namespace pemo
