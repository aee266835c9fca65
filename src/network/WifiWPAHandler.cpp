#include "network/WifiWPAHandler.h"

#include "common/HandlerContract.h"
#include "network/WifiManager.h"

#include <exception>
#include <sstream>
#include <string>
#include <utility>

namespace pemo {
namespace system {

WifiWPAHandler::WifiWPAHandler(std::shared_ptr<WifiManager> wm)
    : SystemHandler("SystemManager.WifiHandler"), _wm(std::move(wm))
{
}

WifiWPAHandler::~WifiWPAHandler() = default;

void WifiWPAHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("WifiHandler::post");
    // Consume the body first so the connection stays usable whatever the answer.
    std::istringstream body(HandlerContract::readBody(request.stream()));
    if (!_wm)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "Wireless device not available");
        return;
    }
    std::string command;
    if (!readArguments(body, response, "WifiHandler::post", cereal::make_nvp("command", command)))
        return;
    std::string reply;
    try
    {
        if (!_wm->request(command, reply))
        {
            logger().warning("WifiHandler::post " + command + " failed: " + reply);
            HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, reply);
            return;
        }
    }
    catch (const std::exception& e)
    {
        logger().error("WifiHandler::post " + command + " failed: " + e.what());
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, e.what());
        return;
    }
    HandlerContract::sendResult(response, logger(), "Unable to serialize response",
                                cereal::make_nvp("response", reply));
}

} // namespace system
} // namespace pemo
