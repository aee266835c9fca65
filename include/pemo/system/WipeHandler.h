#pragma once

#include "pemo/system/SystemHandler.h"

#include <memory>
#include <string>

namespace pemo {
namespace system {

class ServiceManager;

/// POST /system/wipe: has every service erase its user data.
class WipeHandler : public SystemHandler
{
public:
    /// serviceManager may be null: every request is then answered 500 "No service manager".
    explicit WipeHandler(std::shared_ptr<ServiceManager> serviceManager);
    ~WipeHandler() override;

    /// 204 once the wipe is done; 500 "Failed to do system wipe" when it fails,
    /// with the cause logged.
    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    void fail(Response& response, const std::string& message);

    std::shared_ptr<ServiceManager> _serviceManager;
};

} // namespace system
} // namespace pemo
