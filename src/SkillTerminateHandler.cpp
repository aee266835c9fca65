#include "pemo/system/SkillTerminateHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

SkillTerminateHandler::SkillTerminateHandler(std::shared_ptr<SkillManager> skillManager)
    : SystemHandler("SystemManager.SkillTerminateHandler"), _skillManager(std::move(skillManager))
{
}

SkillTerminateHandler::~SkillTerminateHandler() = default;

void SkillTerminateHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SkillTerminateHandler::post");
    if (!_skillManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No SkillManager running");
        return;
    }
    // PENDING(SkillManager): the manager call and its answer arrive with the SkillManager.
}

} // namespace system
} // namespace pemo
