#pragma once

#include "pemo/system/SystemHandler.h"

#include <memory>
#include <string>

namespace pemo {
namespace system {

class ServiceManager;

/// POST /system/restore: has the restore program fetch a backup and every service take its data back.
class RestoreHandler : public SystemHandler
{
public:
    /// serviceManager may be null: every request is then answered 500 "No service manager".
    explicit RestoreHandler(std::shared_ptr<ServiceManager> serviceManager);
    ~RestoreHandler() override;

    /// 204 once the restore is done; 500 "Failed to do system restore" when it fails,
    /// with the cause logged.
    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    void fail(Response& response, const std::string& message);

    std::shared_ptr<ServiceManager> _serviceManager;
};

} // namespace system
} // namespace pemo
