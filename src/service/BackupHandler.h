#pragma once

#include "service/MaintenanceHandler.h"

#include <memory>

namespace pemo {
namespace system {

/// POST /system/backup: has every service put its data into one archive that is encrypted and uploaded.
/// Answers 204, or 500 "Failed to do system backup".
class BackupHandler : public MaintenanceHandler
{
public:
    /// serviceManager may be null: every request is then answered 500 "No service manager".
    explicit BackupHandler(std::shared_ptr<ServiceManager> serviceManager);
    ~BackupHandler() override;
};

} // namespace system
} // namespace pemo
