#pragma once

#include "SessionStore.h"

#include <Poco/Logger.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>

#include <string>

namespace pemo {

class ServiceCore;

/// Answers the "/_M_/" routes through which the platform tells every
/// service of session changes and system operations, and serves the health
/// report. Announced sessions are remembered for authentication.
class ManagementHandler
{
public:
    ManagementHandler(ServiceCore& core, SessionStore& sessions, Poco::Logger& logger);

    /// True when path belongs to the management routes (it starts "/_M_/").
    static bool handles(const std::string& path);

    void handle(const std::string& path, Poco::Net::HTTPServerRequest& request,
                Poco::Net::HTTPServerResponse& response);

private:
    void createSessions(std::istream& body);
    void selectSession(std::istream& body);
    void deleteSession(std::istream& body);
    static Session readSession(std::istream& body);
    static std::string readPath(std::istream& body);
    void serveHealth(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response);

    ServiceCore& _core;
    SessionStore& _sessions;
    Poco::Logger& _logger;
};

} // namespace pemo
