#include "pemo/system/SessionListHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

SessionListHandler::SessionListHandler(std::shared_ptr<SessionManager> sm)
    : SystemHandler("SystemManager.SessionListHandler"), _sm(std::move(sm))
{
}

SessionListHandler::~SessionListHandler() = default;

void SessionListHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SessionListHandler::get");
    if (!_sm)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "SessionManager not running");
        return;
    }
    // PENDING(SessionManager): the manager call and its answer arrive with the SessionManager.
}

} // namespace system
} // namespace pemo
