#include "session/SessionHandler.h"

#include "common/HandlerContract.h"
#include "session/SessionManager.h"

#include <utility>

namespace pemo {
namespace system {

SessionHandler::SessionHandler(const std::string& loggerName, std::shared_ptr<SessionManager> sm)
    : SystemHandler(loggerName), _sm(std::move(sm))
{
}

SessionHandler::~SessionHandler() = default;

bool SessionHandler::running(Response& response) const
{
    if (_sm)
        return true;
    HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "SessionManager not running");
    return false;
}

bool SessionHandler::readToken(Request& request, Response& response, const std::string& operation,
                               std::string& token) const
{
    // Consume the body first so the connection stays usable whatever the answer.
    const std::string body = HandlerContract::readBody(request.stream());
    return running(response) && readArguments(body, response, operation, cereal::make_nvp("session", token));
}

void SessionHandler::answerTold(Response& response, bool told)
{
    if (told)
        HandlerContract::sendNoContent(response);
    else
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR,
                                   "Failed to communicate to other services");
}

} // namespace system
} // namespace pemo
