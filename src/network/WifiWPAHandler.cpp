#include "network/WifiWPAHandler.h"

#include "common/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

WifiWPAHandler::WifiWPAHandler(std::shared_ptr<WifiManager> wm)
    : SystemHandler("SystemManager.WifiHandler"), _wm(std::move(wm))
{
}

WifiWPAHandler::~WifiWPAHandler() = default;

void WifiWPAHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("WifiHandler::post");
    if (!_wm)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "Wireless device not available");
        return;
    }
    // PENDING(WifiManager): the manager call and its answer arrive with the WifiManager.
}

} // namespace system
} // namespace pemo
