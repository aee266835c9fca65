#include "time/TimeZoneHandler.h"

#include "common/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

TimeZoneHandler::TimeZoneHandler(std::shared_ptr<TimeManager> timeManager)
    : SystemHandler("SystemManager.TimeZoneHandler"), _timeManager(std::move(timeManager))
{
}

TimeZoneHandler::~TimeZoneHandler() = default;

void TimeZoneHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("TimeZoneHandler::get");
    if (!_timeManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No TimeManager running");
        return;
    }
    // PENDING(TimeManager): the manager call and its answer arrive with the TimeManager.
}

void TimeZoneHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("TimeZoneHandler::post");
    if (!_timeManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No TimeManager running");
        return;
    }
    // PENDING(TimeManager): the manager call and its answer arrive with the TimeManager.
}

} // namespace system
} // namespace pemo
