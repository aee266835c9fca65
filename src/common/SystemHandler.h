#pragma once

#include "common/HandlerContract.h"

#include <pemo/HTTPRequestHandler.h>
#include <pemo/Permissions.h>

#include <Poco/Logger.h>

#include <istream>
#include <sstream>
#include <string>
#include <utility>

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

    /// Reads the named members (cereal::make_nvp) of the JSON object in the
    /// request body. When the body is not JSON or a member is missing or of
    /// the wrong type, logs why under operation and answers 400 "Malformed
    /// arguments"; false then, and the request has been answered.
    template <class... Members>
    bool readArguments(std::istream& body, Response& response, const std::string& operation,
                       Members&&... members) const
    {
        std::string error;
        if (HandlerContract::readJSON(body, error, std::forward<Members>(members)...))
            return true;
        logger().warning(operation + " malformed body: " + error);
        HandlerContract::sendError(response, Response::HTTP_BAD_REQUEST, HandlerContract::MALFORMED_ARGUMENTS);
        return false;
    }

    template <class... Members>
    bool readArguments(const std::string& body, Response& response, const std::string& operation,
                       Members&&... members) const
    {
        std::istringstream in(body);
        return readArguments(in, response, operation, std::forward<Members>(members)...);
    }

private:
    Poco::Logger& _logger;
};

} // namespace system
} // namespace pemo
