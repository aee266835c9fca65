#include "skill/SkillRefreshHandler.h"

#include "common/HandlerContract.h"
#include "skill/SkillManager.h"

#include <utility>

namespace pemo {
namespace system {

SkillRefreshHandler::SkillRefreshHandler(std::shared_ptr<SkillManager> skillManager)
    : SystemHandler("SystemManager.SkillRefreshHandler"), _skillManager(std::move(skillManager))
{
}

SkillRefreshHandler::~SkillRefreshHandler() = default;

void SkillRefreshHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    // The name is that of the route's first, GET, form; log readers still look for it.
    logger().trace("SkillRefreshHandler::get");
    // Consume the body first so the connection stays usable whatever the answer.
    HandlerContract::readBody(request.stream());
    if (!_skillManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No SkillManager running");
        return;
    }
    _skillManager->refresh();
    HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
