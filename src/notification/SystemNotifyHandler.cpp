#include "notification/SystemNotifyHandler.h"

#include "common/HandlerContract.h"
#include "notification/SystemNotifier.h"

#include <Poco/NumberFormatter.h>

#include <string>
#include <utility>

namespace pemo {
namespace system {

namespace {

// The largest frame the notification port sends: a bigger message could
// never reach a subscriber.
const std::size_t MAX_MESSAGE = 16384;

} // namespace

SystemNotifyHandler::SystemNotifyHandler(std::shared_ptr<SystemNotifier> notify) : SystemHandler("SystemManager.SystemNotifyHandler"), _notify(std::move(notify))
{
}

SystemNotifyHandler::~SystemNotifyHandler() = default;

void SystemNotifyHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    // The body is relayed as it is, never parsed: any text is a notification.
    const std::string body = HandlerContract::readBody(request.stream());
    if (!_notify)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No SystemNotifier running");
        return;
    }
    if (body.size() > MAX_MESSAGE)
    {
        logger().warning("SystemNotifyHandler::post drop " + Poco::NumberFormatter::format(body.size()) +
                         "-byte message");
        HandlerContract::sendError(response, Response::HTTP_BAD_REQUEST);
        return;
    }
    if (!_notify->notify(body))
    {
        logger().trace("SystemNotifyHandler::post failed to send " + body);
        HandlerContract::sendError(response, Response::HTTP_SERVICE_UNAVAILABLE);
        return;
    }
    logger().trace("SystemNotifyHandler::post " + body);
    HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
