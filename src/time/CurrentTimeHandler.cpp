#include "time/CurrentTimeHandler.h"

#include "common/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

CurrentTimeHandler::CurrentTimeHandler(std::shared_ptr<TimeManager> timeManager)
    : SystemHandler("SystemManager.CurrentTimeHandler"), _timeManager(std::move(timeManager))
{
}

CurrentTimeHandler::~CurrentTimeHandler() = default;

void CurrentTimeHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("CurrentTimeHandler::get");
    if (!_timeManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No TimeManager running");
        return;
    }
    // PENDING(TimeManager): the manager call and its answer arrive with the TimeManager.
}

} // namespace system
} // namespace pemo
