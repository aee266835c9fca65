#include "update/UpdateHandler.h"

#include "common/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

UpdateHandler::UpdateHandler(std::shared_ptr<UpdateManager> updateManager)
    : SystemHandler("SystemManager.UpdateHandler"), _updateManager(std::move(updateManager))
{
}

UpdateHandler::~UpdateHandler() = default;

void UpdateHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("Update GET");
    if (!_updateManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No UpdateManager running");
        return;
    }
    // PENDING(UpdateManager): the manager call and its answer arrive with the UpdateManager.
}

void UpdateHandler::put(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("Update PUT");
    if (!_updateManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No UpdateManager running");
        return;
    }
    // PENDING(UpdateManager): the manager call and its answer arrive with the UpdateManager.
}

void UpdateHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("Update POST");
    if (!_updateManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No UpdateManager running");
        return;
    }
    // PENDING(UpdateManager): the manager call and its answer arrive with the UpdateManager.
}

} // namespace system
} // namespace pemo
