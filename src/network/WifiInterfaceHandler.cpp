#include "network/WifiInterfaceHandler.h"

#include "common/HandlerContract.h"
#include "network/NetworkInterface.h"
#include "network/WifiManager.h"

#include <exception>
#include <sstream>
#include <utility>

namespace pemo {
namespace system {

namespace {

const std::string NO_DEVICE("Wireless device not available");

} // namespace

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
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, NO_DEVICE);
        return;
    }
    NetworkInterface current;
    try
    {
        current = _wm->getNetworkInterface();
    }
    catch (const std::exception& e)
    {
        logger().error(std::string("AdvancedWifiHandler::get could not read the interface: ") + e.what());
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, e.what());
        return;
    }
    HandlerContract::sendResult(response, logger(), "Unable to serialize interface",
                                cereal::make_nvp("interface", current));
}

void WifiInterfaceHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("AdvancedWifiHandler::post");
    // Consume the body first so the connection stays usable whatever the answer.
    std::istringstream body(HandlerContract::readBody(request.stream()));
    if (!_wm)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, NO_DEVICE);
        return;
    }
    NetworkInterface wanted;
    if (!readArguments(body, response, "AdvancedWifiHandler::post", cereal::make_nvp("interface", wanted)))
        return;
    bool written = false;
    try
    {
        written = _wm->setNetworkInterface(wanted);
    }
    catch (const std::exception& e)
    {
        logger().error(std::string("AdvancedWifiHandler::post could not set the interface: ") + e.what());
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, e.what());
        return;
    }
    if (!written)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "Could not set network interface");
        return;
    }
    HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
