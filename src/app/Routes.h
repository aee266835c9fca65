#pragma once

#include <cstddef>
#include <string>

namespace pemo {
namespace system {

/// The system manager's route table: the path expression of every handler,
/// in the order the routes are registered (the framework takes the first
/// that matches), and of the two broadcast ports.
class Routes
{
public:
    /// One entry per handler, in registration order.
    enum Route
    {
        SERVICE_LIST,
        SERVICE_START,
        SERVICE_STOP,
        SERVICE_RESTART,
        SESSION_REQUEST,
        SESSION_DELETE,
        SESSION_CURRENT,
        SESSION_LIST,
        SKILL_REFRESH,
        SKILL_LIST,
        SKILL_LAUNCH,
        SKILL_TERMINATE,
        WIFI_WPA,
        WIFI_INTERFACE,
        VERSION,
        IDENTITY,
        TIME_CURRENT,
        TIME_SYNCHRONIZE,
        TIME_ZONE,
        CREDENTIALS,
        MODE,
        SYSTEM_NOTIFY,
        UPDATE,
        POWER_OFF,
        POWER_REBOOT,
        STORAGE_MOUNTS,
        STORAGE_SEMANTIC,
        SYSTEM_WIPE,
        SYSTEM_BACKUP,
        SYSTEM_RESTORE,
        LOGS_UPLOAD,
        DYNAMIC_FIREWALL,
        ROUTE_COUNT
    };

    /// The path expression of route. Throws Poco::InvalidArgumentException
    /// for ROUTE_COUNT or a value outside the enumeration.
    static const std::string& expression(Route route);

    /// Where subscribers receive relayed system notifications.
    static const std::string SYSTEM_NOTIFICATIONS_PORT;
    /// Where subscribers receive the Wi-Fi control interface's messages.
    static const std::string WIFI_MESSAGES_PORT;
};

} // namespace system
} // namespace pemo
