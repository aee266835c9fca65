#include "pemo/system/ServiceRestartHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

ServiceRestartHandler::ServiceRestartHandler(std::shared_ptr<ServiceManager> serviceManager)
    : SystemHandler("SystemManager.ServiceRestartHandler"), _serviceManager(std::move(serviceManager))
{
}

ServiceRestartHandler::~ServiceRestartHandler() = default;

void ServiceRestartHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("ServiceRestartHandler::post");
    // Consume the body first so the connection stays usable whatever the answer.
    HandlerContract::readBody(request.stream());
    if (!_serviceManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No service manager running");
        return;
    }
    // PENDING(ServiceManager): the manager call and its answer arrive with the ServiceManager.
}

} // namespace system
} // namespace pemo
