#include "power/RebootHandler.h"

#include "common/HandlerContract.h"

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
    // PENDING(PowerManager): the manager call and its answer arrive with the PowerManager.
}

} // namespace system
} // namespace pemo
