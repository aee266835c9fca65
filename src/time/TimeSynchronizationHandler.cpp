#include "time/TimeSynchronizationHandler.h"

#include "common/HandlerContract.h"
#include "time/TimeManager.h"

#include <exception>
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
    try
    {
        _timeManager->synchronize();
    }
    catch (const std::exception& e)
    {
        logger().error(std::string("TimeSynchronizationHandler::post failed: ") + e.what() + "; answering 500");
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR,
                                   std::string("Failed to synchronize time: ") + e.what());
        return;
    }
    HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
