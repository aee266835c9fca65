#include "service/WipeHandler.h"

#include "service/ServiceManager.h"

#include <utility>

namespace pemo {
namespace system {

WipeHandler::WipeHandler(std::shared_ptr<ServiceManager> serviceManager)
    : MaintenanceHandler("WipeHandler", "Failed to do system wipe", std::move(serviceManager), &ServiceManager::wipe)
{
}

WipeHandler::~WipeHandler() = default;

} // namespace system
} // namespace pemo
