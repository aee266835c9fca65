#include "pemo/system/ServiceStopHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

ServiceStopHandler::ServiceStopHandler(std::shared_ptr<ServiceManager> serviceManager)
    : SystemHandler("SystemManager.ServiceStopHandler"), _serviceManager(std::move(serviceManager))
{
}

ServiceStopHandler::~ServiceStopHandler() = default;

void ServiceStopHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("ServiceStopHandler::post");
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
