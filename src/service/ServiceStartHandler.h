#pragma once

#include "service/ServiceCommandHandler.h"

#include <memory>

namespace pemo {
namespace system {

/// POST /service/start: enables the named services so the monitor launches them.
class ServiceStartHandler : public ServiceCommandHandler
{
public:
    /// serviceManager may be null: every request is then answered 500 "No service manager running".
    explicit ServiceStartHandler(std::shared_ptr<ServiceManager> serviceManager);
    ~ServiceStartHandler() override;

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
};

} // namespace system
} // namespace pemo
