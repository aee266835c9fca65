#pragma once

#include "service/ServiceCommandHandler.h"

#include <memory>

namespace pemo {
namespace system {

/// POST /service/restart: stops the named services, then enables them again.
class ServiceRestartHandler : public ServiceCommandHandler
{
public:
    /// serviceManager may be null: every request is then answered 500 "No service manager running".
    explicit ServiceRestartHandler(std::shared_ptr<ServiceManager> serviceManager);
    ~ServiceRestartHandler() override;

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
};

} // namespace system
} // namespace pemo
