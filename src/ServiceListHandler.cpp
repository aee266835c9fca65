#include "pemo/system/ServiceListHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

ServiceListHandler::ServiceListHandler(std::shared_ptr<ServiceManager> serviceManager)
    : SystemHandler("SystemManager.ServiceListHandler"), _serviceManager(std::move(serviceManager))
{
}

ServiceListHandler::~ServiceListHandler() = default;

void ServiceListHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("ServiceListHandler::get");
    if (!_serviceManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No service manager running");
        return;
    }
    // PENDING(ServiceManager): the manager call and its answer arrive with the ServiceManager.
}

} // namespace system
} // namespace pemo
