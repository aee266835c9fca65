#include "app/Routes.h"

#include <Poco/Exception.h>

#include <array>

namespace pemo {
namespace system {

namespace {

// Indexed by Routes::Route. "^/time/zone?$" is deliberate, not a typo: it
// matches /time/zon and /time/zone but not /time/zone/, and clients were
// given exactly that.
const std::array<std::string, Routes::ROUTE_COUNT> EXPRESSIONS{
    "^/service/list/?$",
    "^/service/start/?$",
    "^/service/stop/?$",
    "^/service/restart/?$",
    "^/session/request/?$",
    "^/session/delete/?$",
    "^/session/current/?$",
    "^/session/list/?$",
    "^/skill/refresh/?$",
    "^/skill/list/?$",
    "^/skill/launch/?$",
    "^/skill/terminate/?$",
    "^/wifi/wpa/?$",
    "^/wifi/interface/?$",
    "^/version/?$",
    "^/identity/?$",
    "^/time/current/?$",
    "^/time/synchronize/?$",
    "^/time/zone?$",
    "^/credentials/?$",
    "^/mode/?$",
    "^/system_notify/?$",
    "^/update/?([a-zA-Z0-9-_.]+)?$",
    "^/power/off/?$",
    "^/power/reboot/?$",
    "^/storage/mounts/?$",
    "^/storage/semantic/?$",
    "^/system/wipe/?$",
    "^/system/backup/?$",
    "^/system/restore/?$",
    "^/logs/upload/?$",
    "^/dynamic_firewall/?$",
};

} // namespace

const std::string Routes::SYSTEM_NOTIFICATIONS_PORT("^/system_notifications/?$");
const std::string Routes::WIFI_MESSAGES_PORT("^/wifi/messages/?$");

const std::string& Routes::expression(Route route)
{
    if (route < 0 || route >= ROUTE_COUNT)
        throw Poco::InvalidArgumentException("Routes::expression", std::to_string(static_cast<int>(route)));
    return EXPRESSIONS[static_cast<std::size_t>(route)];
}

} // namespace system
} // namespace pemo
