#pragma once

#include "common/SystemHandler.h"

#include <memory>
#include <string>

namespace pemo {
namespace system {

class ServiceManager;

/// What the wipe, backup and restore endpoints share: a POST that runs one
/// maintenance operation of the service manager and answers 204, or 500
/// with the endpoint's failure text (the cause goes to the log).
class MaintenanceHandler : public SystemHandler
{
public:
    using Operation = void (ServiceManager::*)();

    ~MaintenanceHandler() override;

    /// 204 once the operation is done; 500 "No service manager" without a
    /// manager; 500 with the failure text when the operation throws.
    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

protected:
    /// name is the handler's class name ("WipeHandler"); serviceManager may be null.
    MaintenanceHandler(const std::string& name, const std::string& failure,
                       std::shared_ptr<ServiceManager> serviceManager, Operation operation);

private:
    void fail(Response& response, const std::string& message);

    std::string _name;
    std::string _failure;
    std::shared_ptr<ServiceManager> _serviceManager;
    Operation _operation;
};

} // namespace system
} // namespace pemo
