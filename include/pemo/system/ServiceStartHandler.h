#pragma once

#include "pemo/system/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class ServiceManager;

/// POST /service/start: enables the named services so the monitor launches them.
class ServiceStartHandler : public SystemHandler
{
public:
    /// serviceManager may be null: every request is then answered 500 "No service manager running".
    explicit ServiceStartHandler(std::shared_ptr<ServiceManager> serviceManager);
    ~ServiceStartHandler() override;

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<ServiceManager> _serviceManager;
};

} // namespace system
} // namespace pemo
