#pragma once

#include "service/MaintenanceHandler.h"

#include <memory>

namespace pemo {
namespace system {

/// POST /system/restore: has every service take its data back from a downloaded archive.
/// Answers 204, or 500 "Failed to do system restore".
class RestoreHandler : public MaintenanceHandler
{
public:
    /// serviceManager may be null: every request is then answered 500 "No service manager".
    explicit RestoreHandler(std::shared_ptr<ServiceManager> serviceManager);
    ~RestoreHandler() override;
};

} // namespace system
} // namespace pemo
