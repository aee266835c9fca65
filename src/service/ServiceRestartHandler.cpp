#include "service/ServiceRestartHandler.h"

#include "common/HandlerContract.h"
#include "service/ServiceManager.h"

#include <utility>

namespace pemo {
namespace system {

ServiceRestartHandler::ServiceRestartHandler(std::shared_ptr<ServiceManager> serviceManager)
    : ServiceCommandHandler("SystemManager.ServiceRestartHandler", std::move(serviceManager))
{
}

ServiceRestartHandler::~ServiceRestartHandler() = default;

// The started services come up in the monitor's next pass, so the answer
// goes out before they have signalled their start-up.
void ServiceRestartHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    const std::string operation = "ServiceRestartHandler::post";
    logger().trace(operation);
    std::vector<std::string> names;
    if (!readNames(request, response, operation, names))
        return;
    if (runStep(response, operation, "Failed to stop services: ", [&] { serviceManager().stopServices(names); }) &&
        runStep(response, operation, "Failed to start services: ", [&] { serviceManager().startServices(names); }))
        HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
