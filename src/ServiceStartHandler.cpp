#include "pemo/system/ServiceStartHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

ServiceStartHandler::ServiceStartHandler(std::shared_ptr<ServiceManager> serviceManager)
    : SystemHandler("SystemManager.ServiceStartHandler"), _serviceManager(std::move(serviceManager))
{
}

ServiceStartHandler::~ServiceStartHandler() = default;

void ServiceStartHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("ServiceStartHandler::post");
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
