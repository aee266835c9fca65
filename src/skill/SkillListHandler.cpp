#include "skill/SkillListHandler.h"

#include "common/HandlerContract.h"
#include "skill/Skill.h"
#include "skill/SkillManager.h"

#include <utility>
#include <vector>

namespace pemo {
namespace system {

SkillListHandler::SkillListHandler(std::shared_ptr<SkillManager> skillManager)
    : SystemHandler("SystemManager.SkillListHandler"), _skillManager(std::move(skillManager))
{
}

SkillListHandler::~SkillListHandler() = default;

void SkillListHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SkillListHandler::get");
    if (!_skillManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No SkillManager running");
        return;
    }
    std::vector<Skill> skills;
    _skillManager->list(skills);
    HandlerContract::sendResult(response, logger(), "Could not serialize skill list", cereal::make_nvp("skills", skills));
}

} // namespace system
} // namespace pemo
