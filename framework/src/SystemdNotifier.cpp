#include "pemo/SystemdNotifier.h"

#include <Poco/Logger.h>

#include <systemd/sd-daemon.h>

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace pemo {

bool SystemdNotifier::ready()
{
    return notify("READY=1");
}

bool SystemdNotifier::stopping()
{
    return notify("STOPPING=1");
}

bool SystemdNotifier::watchdog()
{
    return notify("WATCHDOG=1");
}

// sd_watchdog_enabled() checks WATCHDOG_PID against our own pid, so a
// service that the system manager launches, which inherits the variables of
// the system manager's unit, does not take the unit's watchdog for its own.
Poco::Timespan SystemdNotifier::watchdogTimeout()
{
    uint64_t microseconds = 0;
    if (sd_watchdog_enabled(0, &microseconds) <= 0)
        return 0;
    return Poco::Timespan(static_cast<Poco::Timespan::TimeDiff>(microseconds));
}

namespace {

// The services that the system manager launches inherit NOTIFY_SOCKET from
// its unit; systemd would refuse their messages (only the unit's main
// process may notify) and log each refusal. systemd names its main process
// in SYSTEMD_EXEC_PID, which the children inherit too, but with a pid that
// is not theirs.
bool isUnitMainProcess()
{
    const char* pid = std::getenv("SYSTEMD_EXEC_PID");
    return !pid || std::to_string(::getpid()) == pid;
}

} // namespace

bool SystemdNotifier::notify(const std::string& state)
{
    if (!isUnitMainProcess())
        return false;
    const int sent = sd_notify(0, state.c_str());
    if (sent < 0)
        Poco::Logger::get("SystemdNotifier")
            .warning("Could not send " + state + " to systemd: " + std::strerror(-sent) +
                     "; systemd may take the service for hung or not started");
    return sent > 0;
}

} // namespace pemo
