#include "pemo/system/SkillListHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

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
    // PENDING(SkillManager): the manager call and its answer arrive with the SkillManager.
}

} // namespace system
} // namespace pemo
