#pragma once

#include "service/ServiceCommandHandler.h"

#include <memory>

namespace pemo {
namespace system {

/// POST /service/stop: disables the named services and stops them.
class ServiceStopHandler : public ServiceCommandHandler
{
public:
    /// serviceManager may be null: every request is then answered 500 "No service manager running".
    explicit ServiceStopHandler(std::shared_ptr<ServiceManager> serviceManager);
    ~ServiceStopHandler() override;

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
};

} // namespace system
} // namespace pemo
