#include "power/RebootHandler.h"

#include "common/HandlerContract.h"
#include "power/PowerManager.h"

#include <Poco/Exception.h>

#include <utility>

namespace pemo {
namespace system {

RebootHandler::RebootHandler(std::shared_ptr<PowerManager> powerManager)
    : SystemHandler("SystemManager.RebootHandler"), _powerManager(std::move(powerManager))
{
}

RebootHandler::~RebootHandler() = default;

void RebootHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("RebootHandler::post");
    if (!_powerManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No PowerManager running");
        return;
    }
    try
    {
        _powerManager->reboot();
    }
    catch (const Poco::Exception& e)
    {
        logger().error("RebootHandler::post refused: " + e.message() + "; the request is answered 500");
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, e.message());
        return;
    }
    HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
