#pragma once

#include "common/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class ServiceManager;

/// GET /service/list: the supervised services and their state.
class ServiceListHandler : public SystemHandler
{
public:
    /// serviceManager may be null: every request is then answered 500 "No service manager running".
    explicit ServiceListHandler(std::shared_ptr<ServiceManager> serviceManager);
    ~ServiceListHandler() override;

    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<ServiceManager> _serviceManager;
};

} // namespace system
} // namespace pemo
