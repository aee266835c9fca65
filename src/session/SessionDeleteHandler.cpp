#include "session/SessionDeleteHandler.h"

#include "common/HandlerContract.h"
#include "session/SessionManager.h"

#include <sstream>
#include <string>
#include <utility>

namespace pemo {
namespace system {

SessionDeleteHandler::SessionDeleteHandler(std::shared_ptr<SessionManager> sm)
    : SessionHandler("SystemManager.SessionDeleteHandler", std::move(sm))
{
}

SessionDeleteHandler::~SessionDeleteHandler() = default;

void SessionDeleteHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SessionDeleteHandler::post");
    std::string token;
    if (!readToken(request, response, "SessionDeleteHandler::post", token))
        return;
    bool told = false;
    try
    {
        told = _sm->deleteSession(token);
    }
    catch (const SessionManagerException& e)
    {
        logger().warning("SessionDeleteHandler::post " + std::string(e.what()));
        HandlerContract::sendError(response, Response::HTTP_NOT_FOUND);
        return;
    }
    answerTold(response, told);
}

} // namespace system
} // namespace pemo
