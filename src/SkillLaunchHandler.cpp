#include "pemo/system/SkillLaunchHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

SkillLaunchHandler::SkillLaunchHandler(std::shared_ptr<SkillManager> skillManager)
    : SystemHandler("SystemManager.SkillLaunchHandler"), _skillManager(std::move(skillManager))
{
}

SkillLaunchHandler::~SkillLaunchHandler() = default;

void SkillLaunchHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SkillLaunchHandler::post");
    if (!_skillManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No SkillManager running");
        return;
    }
    // PENDING(SkillManager): the manager call and its answer arrive with the SkillManager.
}

} // namespace system
} // namespace pemo
