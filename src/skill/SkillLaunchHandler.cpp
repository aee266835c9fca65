#include "skill/SkillLaunchHandler.h"

#include "common/HandlerContract.h"
#include "skill/SkillManager.h"
#include "skill/SkillManagerException.h"

#include <exception>
#include <sstream>
#include <string>
#include <utility>

namespace pemo {
namespace system {

SkillLaunchHandler::SkillLaunchHandler(std::shared_ptr<SkillManager> skillManager) : SystemHandler("SystemManager.SkillLaunchHandler"), _skillManager(std::move(skillManager))
{
}

SkillLaunchHandler::~SkillLaunchHandler() = default;

void SkillLaunchHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SkillLaunchHandler::post");
    // Consume the body first so the connection stays usable whatever the answer.
    std::istringstream body(HandlerContract::readBody(request.stream()));
    if (!_skillManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No SkillManager running");
        return;
    }
    SkillManager::LaunchArgs args;
    if (!readArguments(body, response, "SkillLaunchHandler::post", cereal::make_nvp("name", args.name),
                       cereal::make_nvp("context", args.context)))
        return;
    bool launched = false;
    try
    {
        launched = _skillManager->launch(args);
    }
    catch (const std::exception& e)
    {
        logger().error("SkillLaunchHandler::post could not launch " + args.name + ": " + e.what());
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, e.what());
        return;
    }
    if (!launched)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR);
        return;
    }
    HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
