#include "pemo/system/SkillRefreshHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

SkillRefreshHandler::SkillRefreshHandler(std::shared_ptr<SkillManager> skillManager)
    : SystemHandler("SystemManager.SkillRefreshHandler"), _skillManager(std::move(skillManager))
{
}

SkillRefreshHandler::~SkillRefreshHandler() = default;

void SkillRefreshHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SkillRefreshHandler::get");
    if (!_skillManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No SkillManager running");
        return;
    }
    // PENDING(SkillManager): the manager call and its answer arrive with the SkillManager.
}

} // namespace system
} // namespace pemo
