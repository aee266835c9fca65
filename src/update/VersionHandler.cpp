#include "update/VersionHandler.h"

#include "common/HandlerContract.h"
#include "common/SystemUtil.h"

namespace pemo {
namespace system {

VersionHandler::VersionHandler() : SystemHandler("SystemManager.VersionHandler")
{
}

VersionHandler::~VersionHandler() = default;

void VersionHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("VersionHandler::get");
    const std::string text = version();
    if (text.empty())
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "Could not read version");
        return;
    }
    HandlerContract::sendResult(response, logger(), "Could not serialize version", cereal::make_nvp("version", text));
}

} // namespace system
} // namespace pemo
