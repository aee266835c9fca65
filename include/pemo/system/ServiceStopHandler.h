#pragma once

#include "pemo/system/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class ServiceManager;

/// POST /service/stop: disables the named services and stops them.
class ServiceStopHandler : public SystemHandler
{
public:
    /// serviceManager may be null: every request is then answered 500 "No service manager running".
    explicit ServiceStopHandler(std::shared_ptr<ServiceManager> serviceManager);
    ~ServiceStopHandler() override;

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<ServiceManager> _serviceManager;
};

} // namespace system
} // namespace pemo
