#include "session/SessionRequestHandler.h"

#include "common/HandlerContract.h"
#include "session/SessionManager.h"

#include <string>
#include <utility>

namespace pemo {
namespace system {

SessionRequestHandler::SessionRequestHandler(std::shared_ptr<SessionManager> sm)
    : SessionHandler("SystemManager.SessionCreateHandler", std::move(sm))
{
}

SessionRequestHandler::~SessionRequestHandler() = default;

void SessionRequestHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SessionRequestHandler::get");
    if (!running(response))
        return;
    std::shared_ptr<pemo::Session> session;
    try
    {
        session = _sm->createSession();
    }
    catch (const std::exception& e)
    {
        logger().error("SessionRequestHandler::get no session created: " + std::string(e.what()));
    }
    if (!session)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR);
        return;
    }
    HandlerContract::sendResult(response, logger(), "Unable to serialize session",
                                cereal::make_nvp("session", *session));
}

} // namespace system
} // namespace pemo
