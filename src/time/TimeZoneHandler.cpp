#include "time/TimeZoneHandler.h"

#include "common/HandlerContract.h"
#include "time/TimeManager.h"

#include <exception>
#include <string>
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
    std::string timezone;
    try
    {
        timezone = _timeManager->getTimezone();
    }
    catch (const std::exception& e)
    {
        logger().error(std::string("TimeZoneHandler::get failed: ") + e.what() + "; answering 500");
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR,
                                   std::string("Failed to get current timezone: ") + e.what());
        return;
    }
    HandlerContract::sendResult(response, logger(), "Failed to serialize timezone", CEREAL_NVP(timezone));
}

void TimeZoneHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("TimeZoneHandler::post");
    if (!_timeManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No TimeManager running");
        return;
    }
    std::string timezone;
    if (!readArguments(request.stream(), response, "TimeZoneHandler::post", CEREAL_NVP(timezone)))
        return;
    try
    {
        _timeManager->setTimezone(timezone);
    }
    catch (const std::exception& e)
    {
        logger().error(std::string("TimeZoneHandler::post failed: ") + e.what() + "; answering 500");
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR,
                                   std::string("Failed to set timezone: ") + e.what());
        return;
    }
    HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
