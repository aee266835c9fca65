#include "service/BackupHandler.h"

#include "service/ServiceManager.h"

#include <utility>

namespace pemo {
namespace system {

BackupHandler::BackupHandler(std::shared_ptr<ServiceManager> serviceManager)
    : MaintenanceHandler("BackupHandler", "Failed to do system backup", std::move(serviceManager), &ServiceManager::backup)
{
}

BackupHandler::~BackupHandler() = default;

} // namespace system
} // namespace pemo
