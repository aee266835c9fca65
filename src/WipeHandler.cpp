#include "pemo/system/WipeHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

WipeHandler::WipeHandler(std::shared_ptr<ServiceManager> serviceManager)
    : SystemHandler("SystemManager.WipeHandler"), _serviceManager(std::move(serviceManager))
{
}

WipeHandler::~WipeHandler() = default;

void WipeHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("WipeHandler::post");
    if (!_serviceManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No service manager");
        return;
    }
    // PENDING(ServiceManager): the manager call and its answer arrive with the ServiceManager.
}

} // namespace system
} // namespace pemo
