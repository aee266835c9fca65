#include "service/RestoreHandler.h"

#include "service/ServiceManager.h"

#include <utility>

namespace pemo {
namespace system {

RestoreHandler::RestoreHandler(std::shared_ptr<ServiceManager> serviceManager)
    : MaintenanceHandler("RestoreHandler", "Failed to do system restore", std::move(serviceManager), &ServiceManager::restore)
{
}

RestoreHandler::~RestoreHandler() = default;

} // namespace system
} // namespace pemo
