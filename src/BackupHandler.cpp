#include "pemo/system/BackupHandler.h"

#include "pemo/system/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

BackupHandler::BackupHandler(std::shared_ptr<ServiceManager> serviceManager)
    : SystemHandler("SystemManager.BackupHandler"), _serviceManager(std::move(serviceManager))
{
}

BackupHandler::~BackupHandler() = default;

void BackupHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("BackupHandler::post");
    if (!_serviceManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No service manager");
        return;
    }
    // PENDING(ServiceManager): the manager call and its answer arrive with the ServiceManager.
}

} // namespace system
} // namespace pemo
