#include "ManagementHandler.h"

#include "pemo/Authentication.h"
#include "pemo/BodyReader.h"
#include "pemo/ServiceCore.h"

#include <cereal/archives/json.hpp>
#include <cereal/types/vector.hpp>

#include <sstream>
#include <vector>

namespace pemo {

using Poco::Net::HTTPResponse;
using Poco::Net::HTTPServerRequest;
using Poco::Net::HTTPServerResponse;

namespace {

const std::string PREFIX("/_M_/");
const std::string HEALTH("/_M_/health");

void reply(HTTPServerResponse& response, HTTPResponse::HTTPStatus status, const std::string& reason = "")
{
    response.setStatus(status);
    response.setReason(reason.empty() ? HTTPResponse::getReasonForStatus(status) : reason);
    response.setContentLength(0);
    response.send();
}

bool isManagementCaller(const HTTPServerRequest& request)
{
    return request.get(HTTP_HEADER_AUTHENTICATION, "") == MANAGEMENT_AUTHENTICATION;
}

} // namespace

ManagementHandler::ManagementHandler(ServiceCore& core, SessionStore& sessions, Poco::Logger& logger)
    : _core(core), _sessions(sessions), _logger(logger)
{
}

bool ManagementHandler::handles(const std::string& path)
{
    return path.compare(0, PREFIX.size(), PREFIX) == 0;
}

void ManagementHandler::handle(const std::string& path, HTTPServerRequest& request, HTTPServerResponse& response)
{
    if (path == HEALTH)
        return serveHealth(request, response);
    if (!isManagementCaller(request))
        return reply(response, HTTPResponse::HTTP_FORBIDDEN);
    if (request.getMethod() != Poco::Net::HTTPRequest::HTTP_POST)
        return reply(response, HTTPResponse::HTTP_METHOD_NOT_ALLOWED);
    std::istream& body = request.stream();
    try
    {
        if (path == "/_M_/session")
            createSessions(body);
        else if (path == "/_M_/current-session")
            selectSession(body);
        else if (path == "/_M_/delete-session")
            deleteSession(body);
        else if (path == "/_M_/system/wipe")
            _core.onSystemWipe();
        else if (path == "/_M_/system/backup")
            _core.onSystemBackup(readPath(body));
        else if (path == "/_M_/system/restore")
            _core.onSystemRestore(readPath(body));
        else
            return reply(response, HTTPResponse::HTTP_NOT_FOUND);
    }
    catch (const cereal::Exception& e)
    {
        _logger.warning("ManagementHandler " + path + " malformed body: " + e.what() + "; answering 400");
        return reply(response, HTTPResponse::HTTP_BAD_REQUEST, "Malformed arguments");
    }
    catch (const Poco::DataFormatException& e)
    {
        _logger.warning("ManagementHandler " + path + " refused body: " + e.displayText() + "; answering 400");
        return reply(response, HTTPResponse::HTTP_BAD_REQUEST, "Malformed arguments");
    }
    reply(response, HTTPResponse::HTTP_NO_CONTENT);
}

void ManagementHandler::createSessions(std::istream& body)
{
    std::vector<Session> sessions;
    {
        std::istringstream text(BodyReader::readJSON(body));
        cereal::JSONInputArchive archive(text);
        archive(cereal::make_nvp("sessions", sessions));
    }
    for (const auto& session : sessions)
    {
        _sessions.add(session);
        _core.onCreateSession(std::make_shared<Session>(session));
    }
}

void ManagementHandler::selectSession(std::istream& body)
{
    const Session session = readSession(body);
    _sessions.add(session);
    _core.onSelectSession(std::make_shared<Session>(session));
}

void ManagementHandler::deleteSession(std::istream& body)
{
    const Session session = readSession(body);
    _sessions.remove(session.token);
    _core.onDeleteSession(std::make_shared<Session>(session));
}

Session ManagementHandler::readSession(std::istream& body)
{
    Session session;
    std::istringstream text(BodyReader::readJSON(body));
    cereal::JSONInputArchive archive(text);
    archive(cereal::make_nvp("session", session));
    return session;
}

// Backup and restore may name the staging directory as {"path": ...}; an
// empty body leaves the path empty.
std::string ManagementHandler::readPath(std::istream& body)
{
    const std::string text = BodyReader::readJSON(body);
    if (text.find_first_not_of(" \t\r\n") == std::string::npos)
        return {};
    std::istringstream in(text);
    cereal::JSONInputArchive archive(in);
    std::string path;
    archive(cereal::make_nvp("path", path));
    return path;
}

void ManagementHandler::serveHealth(HTTPServerRequest& request, HTTPServerResponse& response)
{
    const auto session = _sessions.resolve(request.get(HTTP_HEADER_AUTHENTICATION, ""));
    if (!isManagementCaller(request) && !Permissions::check(Permissions(true), session->permissions))
        return reply(response, HTTPResponse::HTTP_FORBIDDEN);
    if (request.getMethod() != Poco::Net::HTTPRequest::HTTP_GET)
        return reply(response, HTTPResponse::HTTP_METHOD_NOT_ALLOWED);
    const std::string report = _core.onHealth();
    response.setStatus(HTTPResponse::HTTP_OK);
    response.setContentType("application/json");
    response.setContentLength(static_cast<std::streamsize>(report.size()));
    response.sendBuffer(report.data(), report.size());
}

} // namespace pemo
