#pragma once

#include <pemo/HTTPRequestHandler.h>
#include <pemo/Permissions.h>

#include <Poco/Logger.h>

#include <string>

namespace pemo {
namespace system {

/// Base of every request handler of the system manager: each route is open
/// only to callers that hold every permission, and each handler logs on its
/// own logger.
class SystemHandler : public pemo::HTTPRequestHandler
{
public:
    ~SystemHandler() override;

    /// True when held grants all four permissions.
    bool allows(const pemo::Permissions& held) const override;

protected:
    /// loggerName is the full logger name, "SystemManager." and the class.
    explicit SystemHandler(const std::string& loggerName);

    Poco::Logger& logger() const;

private:
    Poco::Logger& _logger;
};

} // namespace system
} // namespace pemo
