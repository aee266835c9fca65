#include "pemo/system/SessionDeleteHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

SessionDeleteHandler::SessionDeleteHandler(std::shared_ptr<SessionManager> sm)
    : SystemHandler("SystemManager.SessionDeleteHandler"), _sm(std::move(sm))
{
}

SessionDeleteHandler::~SessionDeleteHandler() = default;

void SessionDeleteHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SessionDeleteHandler::post");
    if (!_sm)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "SessionManager not running");
        return;
    }
    // PENDING(SessionManager): the manager call and its answer arrive with the SessionManager.
}

} // namespace system
} // namespace pemo
