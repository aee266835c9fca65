#include "pemo/system/RestoreHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

RestoreHandler::RestoreHandler(std::shared_ptr<ServiceManager> serviceManager)
    : SystemHandler("SystemManager.RestoreHandler"), _serviceManager(std::move(serviceManager))
{
}

RestoreHandler::~RestoreHandler() = default;

void RestoreHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("RestoreHandler::post");
    if (!_serviceManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No service manager");
        return;
    }
    // PENDING(ServiceManager): the manager call and its answer arrive with the ServiceManager.
}

} // namespace system
} // namespace pemo
