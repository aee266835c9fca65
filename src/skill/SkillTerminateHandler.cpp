#include "skill/SkillTerminateHandler.h"

#include "common/HandlerContract.h"
#include "skill/SkillManager.h"
#include "skill/SkillManagerException.h"

#include <sstream>
#include <string>
#include <utility>

namespace pemo {
namespace system {

SkillTerminateHandler::SkillTerminateHandler(std::shared_ptr<SkillManager> skillManager)
    : SystemHandler("SystemManager.SkillTerminateHandler"), _skillManager(std::move(skillManager))
{
}

SkillTerminateHandler::~SkillTerminateHandler() = default;

void SkillTerminateHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SkillTerminateHandler::post");
    // Consume the body first so the connection stays usable whatever the answer.
    std::istringstream body(HandlerContract::readBody(request.stream()));
    if (!_skillManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No SkillManager running");
        return;
    }
    std::string name;
    if (!readArguments(body, response, "SkillTerminateHandler::post", cereal::make_nvp("name", name)))
        return;
    bool terminated = false;
    try
    {
        terminated = _skillManager->terminate(name);
    }
    catch (const SkillManagerException& e)
    {
        logger().warning("SkillTerminateHandler::post could not terminate " + name + ": " + e.what());
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, e.what());
        return;
    }
    if (!terminated)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR);
        return;
    }
    HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
