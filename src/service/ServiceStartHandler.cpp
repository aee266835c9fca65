#include "service/ServiceStartHandler.h"

#include "common/HandlerContract.h"
#include "service/ServiceManager.h"

#include <utility>

namespace pemo {
namespace system {

ServiceStartHandler::ServiceStartHandler(std::shared_ptr<ServiceManager> serviceManager)
    : ServiceCommandHandler("SystemManager.ServiceStartHandler", std::move(serviceManager))
{
}

ServiceStartHandler::~ServiceStartHandler() = default;

void ServiceStartHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    const std::string operation = "ServiceStartHandler::post";
    logger().trace(operation);
    std::vector<std::string> names;
    if (!readNames(request, response, operation, names))
        return;
    if (runStep(response, operation, "Failed to start services: ", [&] { serviceManager().startServices(names); }))
        HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
