#pragma once

#include "pemo/system/SystemHandler.h"

#include <memory>
#include <string>

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

    /// 204 once the backup is done; 500 "Failed to do system backup" when it fails,
    /// with the cause logged.
    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    void fail(Response& response, const std::string& message);

    std::shared_ptr<ServiceManager> _serviceManager;
};

} // namespace system
} // namespace pemo
