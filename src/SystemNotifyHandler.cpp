#include "pemo/system/SystemNotifyHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

SystemNotifyHandler::SystemNotifyHandler(std::shared_ptr<SystemNotifier> notify)
    : SystemHandler("SystemManager.SystemNotifyHandler"), _notify(std::move(notify))
{
}

SystemNotifyHandler::~SystemNotifyHandler() = default;

void SystemNotifyHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SystemNotifyHandler::post");
    // Consume the body first so the connection stays usable whatever the answer.
    HandlerContract::readBody(request.stream());
    if (!_notify)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No SystemNotifier running");
        return;
    }
    // PENDING(SystemNotifier): the manager call and its answer arrive with the SystemNotifier.
}

} // namespace system
} // namespace pemo
