#include "pemo/system/SessionCurrentHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

SessionCurrentHandler::SessionCurrentHandler(std::shared_ptr<SessionManager> sm)
    : SystemHandler("SystemManager.SessionCurrentHandler"), _sm(std::move(sm))
{
}

SessionCurrentHandler::~SessionCurrentHandler() = default;

void SessionCurrentHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SessionCurrentHandler::get");
    if (!_sm)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "SessionManager not running");
        return;
    }
    // PENDING(SessionManager): the manager call and its answer arrive with the SessionManager.
}

void SessionCurrentHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SessionCurrentHandler::post");
    if (!_sm)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "SessionManager not running");
        return;
    }
    // PENDING(SessionManager): the manager call and its answer arrive with the SessionManager.
}

} // namespace system
} // namespace pemo
