#include "pemo/system/SessionRequestHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

SessionRequestHandler::SessionRequestHandler(std::shared_ptr<SessionManager> sm)
    : SystemHandler("SystemManager.SessionCreateHandler"), _sm(std::move(sm))
{
}

SessionRequestHandler::~SessionRequestHandler() = default;

void SessionRequestHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SessionRequestHandler::get");
    if (!_sm)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "SessionManager not running");
        return;
    }
    // PENDING(SessionManager): the manager call and its answer arrive with the SessionManager.
}

} // namespace system
} // namespace pemo
