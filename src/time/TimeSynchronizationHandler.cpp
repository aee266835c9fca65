#include "time/TimeSynchronizationHandler.h"

#include "common/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

TimeSynchronizationHandler::TimeSynchronizationHandler(std::shared_ptr<TimeManager> timeManager)
    : SystemHandler("SystemManager.TimeSynchronizationHandler"), _timeManager(std::move(timeManager))
{
}

TimeSynchronizationHandler::~TimeSynchronizationHandler() = default;

void TimeSynchronizationHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("TimeSynchronizationHandler::post");
    if (!_timeManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No TimeManager running");
        return;
    }
    // PENDING(TimeManager): the manager call and its answer arrive with the TimeManager.
}

} // namespace system
} // namespace pemo
