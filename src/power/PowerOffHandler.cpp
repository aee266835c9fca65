#include "power/PowerOffHandler.h"

#include "common/HandlerContract.h"

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
    // PENDING(PowerManager): the manager call and its answer arrive with the PowerManager.
}

} // namespace system
} // namespace pemo
