#include "session/SessionCurrentHandler.h"

#include "common/HandlerContract.h"
#include "session/SessionManager.h"

#include <sstream>
#include <string>
#include <utility>

namespace pemo {
namespace system {

SessionCurrentHandler::SessionCurrentHandler(std::shared_ptr<SessionManager> sm)
    : SessionHandler("SystemManager.SessionCurrentHandler", std::move(sm))
{
}

SessionCurrentHandler::~SessionCurrentHandler() = default;

void SessionCurrentHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SessionCurrentHandler::get");
    if (!running(response))
        return;
    std::shared_ptr<pemo::Session> session;
    try
    {
        session = _sm->getCurrentSession();
    }
    catch (const SessionManagerException& e)
    {
        logger().information("SessionCurrentHandler::get " + std::string(e.what()));
        HandlerContract::sendError(response, Response::HTTP_BAD_REQUEST, "No current session");
        return;
    }
    HandlerContract::sendResult(response, logger(), "Unable to serialize session",
                                cereal::make_nvp("session", *session));
}

void SessionCurrentHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SessionCurrentHandler::post");
    std::string token;
    if (!readToken(request, response, "SessionCurrentHandler::post", token))
        return;
    bool told = false;
    try
    {
        told = _sm->setCurrentSession(token);
    }
    catch (const SessionManagerException& e)
    {
        logger().warning("SessionCurrentHandler::post " + std::string(e.what()));
        HandlerContract::sendError(response, Response::HTTP_BAD_REQUEST, "No current session");
        return;
    }
    answerTold(response, told);
}

} // namespace system
} // namespace pemo
