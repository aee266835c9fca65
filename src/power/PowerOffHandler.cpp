#include "power/PowerOffHandler.h"

#include "common/HandlerContract.h"
#include "power/PowerManager.h"

#include <Poco/Exception.h>

#include <utility>

namespace pemo {
namespace system {

PowerOffHandler::PowerOffHandler(std::shared_ptr<PowerManager> powerManager)
    : SystemHandler("SystemManager.PowerOffHandler"), _powerManager(std::move(powerManager))
{
}

PowerOffHandler::~PowerOffHandler() = default;

void PowerOffHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("PowerOffHandler::post");
    if (!_powerManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No PowerManager running");
        return;
    }
    try
    {
        _powerManager->poweroff();
    }
    catch (const Poco::Exception& e)
    {
        logger().error("PowerOffHandler::post refused: " + e.message() + "; the request is answered 500");
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, e.message());
        return;
    }
    HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
