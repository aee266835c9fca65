#pragma once

#include "pemo/system/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class ServiceManager;

/// POST /system/backup: collects every service's data and hands it to the backup program.
class BackupHandler : public SystemHandler
{
public:
    /// serviceManager may be null: every request is then answered 500 "No service manager".
    explicit BackupHandler(std::shared_ptr<ServiceManager> serviceManager);
    ~BackupHandler() override;

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<ServiceManager> _serviceManager;
};

} // namespace system
} // namespace pemo
