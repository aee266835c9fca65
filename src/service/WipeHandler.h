#pragma once

#include "service/MaintenanceHandler.h"

#include <memory>

namespace pemo {
namespace system {

/// POST /system/wipe: has every service erase its user data.
/// Answers 204, or 500 "Failed to do system wipe".
class WipeHandler : public MaintenanceHandler
{
public:
    /// serviceManager may be null: every request is then answered 500 "No service manager".
    explicit WipeHandler(std::shared_ptr<ServiceManager> serviceManager);
    ~WipeHandler() override;
};

} // namespace system
} // namespace pemo
