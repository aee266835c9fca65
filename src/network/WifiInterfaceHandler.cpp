#include "network/WifiInterfaceHandler.h"

#include "common/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

WifiInterfaceHandler::WifiInterfaceHandler(std::shared_ptr<WifiManager> wm)
    : SystemHandler("SystemManager.AdvancedWifiHandler"), _wm(std::move(wm))
{
}

WifiInterfaceHandler::~WifiInterfaceHandler() = default;

void WifiInterfaceHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("AdvancedWifiHandler::get");
    if (!_wm)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "Wireless device not available");
        return;
    }
    // PENDING(WifiManager): the manager call and its answer arrive with the WifiManager.
}

void WifiInterfaceHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("AdvancedWifiHandler::post");
    if (!_wm)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "Wireless device not available");
        return;
    }
    // PENDING(WifiManager): the manager call and its answer arrive with the WifiManager.
}

} // namespace system
} // namespace pemo
