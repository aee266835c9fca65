#include "pemo/system/SessionDeleteHandler.h"

#include "pemo/system/HandlerContract.h"
#include "pemo/system/SessionManager.h"

#include <sstream>
#include <string>
#include <utility>

namespace pemo {
namespace system {

SessionDeleteHandler::SessionDeleteHandler(std::shared_ptr<SessionManager> sm)
    : SystemHandler("SystemManager.SessionDeleteHandler"), _sm(std::move(sm))
{
}

SessionDeleteHandler::~SessionDeleteHandler() = default;

void SessionDeleteHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SessionDeleteHandler::post");
    // Consume the body first so the connection stays usable whatever the answer.
    const std::string body = HandlerContract::readBody(request.stream());
    if (!_sm)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "SessionManager not running");
        return;
    }
    std::string token;
    if (!readArguments(body, response, "SessionDeleteHandler::post", cereal::make_nvp("session", token)))
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
    if (!told)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR,
                                   "Failed to communicate to other services");
        return;
    }
    HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
