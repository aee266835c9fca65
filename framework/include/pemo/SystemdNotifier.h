#pragma once

#include <Poco/Timespan.h>

#include <string>

namespace pemo {

/// Tells systemd how the host is doing, through sd_notify: READY=1 once the
/// service serves, STOPPING=1 when it begins to stop and WATCHDOG=1 for each
/// passed self-check. A process that systemd did not start with a
/// notification socket (NOTIFY_SOCKET unset: the simulator, the tests, a
/// service launched by the system manager) sends nothing, and every call
/// returns false.
class SystemdNotifier
{
public:
    /// Sends "READY=1"; true when systemd was told.
    static bool ready();

    /// Sends "STOPPING=1"; true when systemd was told.
    static bool stopping();

    /// Sends "WATCHDOG=1"; true when systemd was told.
    static bool watchdog();

    /// The watchdog timeout systemd gave this process (WatchdogSec), or zero
    /// when it watches none.
    static Poco::Timespan watchdogTimeout();

private:
    static bool notify(const std::string& state);
};

} // namespace pemo
