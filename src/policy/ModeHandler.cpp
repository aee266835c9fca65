#include "policy/ModeHandler.h"

#include "common/HandlerContract.h"
#include "common/SystemUtil.h"

namespace pemo {
namespace system {

ModeHandler::ModeHandler() : SystemHandler("SystemManager.ModeHandler")
{
}

ModeHandler::~ModeHandler() = default;

void ModeHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("ModeHandler::get");
    const std::string mode = getMode();
    if (mode.empty())
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "Could not read mode");
        return;
    }
    HandlerContract::sendResult(response, logger(), "Could not serialize mode", cereal::make_nvp("mode", mode));
}

void ModeHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("ModeHandler::post");
    std::string mode;
    if (!readArguments(request.stream(), response, "ModeHandler::post", cereal::make_nvp("mode", mode)))
        return;
    if (!setMode(mode))
    {
        HandlerContract::sendError(response, Response::HTTP_BAD_REQUEST, "Could not set mode to " + mode);
        return;
    }
    HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
