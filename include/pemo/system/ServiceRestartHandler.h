#pragma once

#include "pemo/system/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class ServiceManager;

/// POST /service/restart: stops the named services, then enables them again.
class ServiceRestartHandler : public SystemHandler
{
public:
    /// serviceManager may be null: every request is then answered 500 "No service manager running".
    explicit ServiceRestartHandler(std::shared_ptr<ServiceManager> serviceManager);
    ~ServiceRestartHandler() override;

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<ServiceManager> _serviceManager;
};

} // namespace system
} // namespace pemo
