#include "time/CurrentTimeHandler.h"

#include "common/HandlerContract.h"
#include "time/TimeManager.h"

#include <cstdint>
#include <exception>
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
    std::int64_t time = 0;
    try
    {
        time = _timeManager->getCurrentTime();
    }
    catch (const std::exception& e)
    {
        logger().error(std::string("CurrentTimeHandler::get failed: ") + e.what() + "; answering 500");
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR,
                                   std::string("Failed to get current time: ") + e.what());
        return;
    }
    HandlerContract::sendResult(response, logger(), "Failed to serialize current time", cereal::make_nvp("time", time));
}

} // namespace system
} // namespace pemo
