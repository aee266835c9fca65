#pragma once

#include "common/SystemHandler.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace pemo {
namespace system {

class ServiceManager;

/// What the start, stop and restart endpoints share: a body
/// {"services": [name, ...]} and manager steps whose refusal answers 400
/// with the step's own failure text.
class ServiceCommandHandler : public SystemHandler
{
public:
    ~ServiceCommandHandler() override;

protected:
    /// serviceManager may be null: every request is then answered 500
    /// "No service manager running".
    ServiceCommandHandler(const std::string& loggerName, std::shared_ptr<ServiceManager> serviceManager);

    /// Reads the whole body, then checks the manager and reads the names.
    /// False when the request has been answered (no manager, malformed).
    bool readNames(Request& request, Response& response, const std::string& operation,
                   std::vector<std::string>& names);

    /// Runs step; a ServiceManagerException answers 400 with failure
    /// followed by its message, and gives false.
    bool runStep(Response& response, const std::string& operation, const std::string& failure,
                 const std::function<void()>& step);

    ServiceManager& serviceManager() const;

private:
    std::shared_ptr<ServiceManager> _serviceManager;
};

} // namespace system
} // namespace pemo
