#include "service/ServiceStopHandler.h"

#include "common/HandlerContract.h"
#include "service/ServiceManager.h"

#include <utility>

namespace pemo {
namespace system {

ServiceStopHandler::ServiceStopHandler(std::shared_ptr<ServiceManager> serviceManager)
    : ServiceCommandHandler("SystemManager.ServiceStopHandler", std::move(serviceManager))
{
}

ServiceStopHandler::~ServiceStopHandler() = default;

void ServiceStopHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    const std::string operation = "ServiceStopHandler::post";
    logger().trace(operation);
    std::vector<std::string> names;
    if (!readNames(request, response, operation, names))
        return;
    if (runStep(response, operation, "Failed to stop services: ", [&] { serviceManager().stopServices(names); }))
        HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
