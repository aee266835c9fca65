#include "session/SessionListHandler.h"

#include "common/HandlerContract.h"
#include "session/SessionManager.h"

#include <string>
#include <utility>
#include <vector>

namespace pemo {
namespace system {

SessionListHandler::SessionListHandler(std::shared_ptr<SessionManager> sm)
    : SessionHandler("SystemManager.SessionListHandler", std::move(sm))
{
}

SessionListHandler::~SessionListHandler() = default;

void SessionListHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SessionListHandler::get");
    if (!running(response))
        return;
    std::vector<std::string> sessions;
    try
    {
        sessions = _sm->getSessions();
    }
    catch (const std::exception& e)
    {
        logger().error("SessionListHandler::get " + std::string(e.what()));
        HandlerContract::sendError(response, Response::HTTP_BAD_REQUEST, "No List session");
        return;
    }
    HandlerContract::sendResult(response, logger(), "Unable to serialize sessions",
                                cereal::make_nvp("sessions", sessions));
}

} // namespace system
} // namespace pemo
