#include "service/ServiceListHandler.h"

#include "common/HandlerContract.h"
#include "service/ServiceManager.h"

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
    const ServiceManager::Service::Vector services = _serviceManager->getServices();
    HandlerContract::sendResult(response, logger(), "Failed to serialize services",
                                cereal::make_nvp("services", services));
}

} // namespace system
} // namespace pemo
