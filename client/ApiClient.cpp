#include "ApiClient.h"

#include "ClientError.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/StreamCopier.h>

namespace pemo {
namespace client {

namespace {

const Poco::Timespan CONNECT_TIMEOUT(5, 0);
const Poco::Timespan ORDINARY_TIMEOUT(60, 0);
// Poco takes a zero receive time-out as "wait for ever"; a day stands in
// for it so that a wedged daemon still ends pemoctl some time.
const Poco::Timespan NO_TIMEOUT(24 * 3600, 0);

} // namespace

ApiClient::ApiClient(const Settings& settings) : _settings(settings)
{
}

Answer ApiClient::request(const std::string& method, const std::string& path, const std::string& body,
                          Wait wait) const
{
    Poco::Timespan timeout = wait == LONG ? NO_TIMEOUT : ORDINARY_TIMEOUT;
    if (_settings.timeout)
        timeout = Poco::Timespan(static_cast<long>(*_settings.timeout), 0);
    Answer answer;
    try
    {
        Poco::Net::HTTPClientSession session(_settings.host, _settings.port);
        session.setTimeout(CONNECT_TIMEOUT, timeout, timeout);
        session.setKeepAlive(false);
        Poco::Net::HTTPRequest request(method, path, Poco::Net::HTTPMessage::HTTP_1_1);
        if (_settings.token)
            request.set("Pemo-Authenticate", *_settings.token);
        if (!body.empty() || method == "POST" || method == "PUT")
        {
            request.setContentType("application/json");
            request.setContentLength(static_cast<std::streamsize>(body.size()));
        }
        session.sendRequest(request) << body;
        Poco::Net::HTTPResponse response;
        std::istream& in = session.receiveResponse(response);
        answer.status = response.getStatus();
        answer.reason = response.getReason();
        Poco::StreamCopier::copyToString(in, answer.body);
    }
    catch (const Poco::TimeoutException&)
    {
        throw ClientError(EXIT_UNREACHABLE, method + " " + path + ": no answer from the system manager at " +
                                                _settings.address() + " within " +
                                                std::to_string(timeout.totalSeconds()) + " s");
    }
    catch (const Poco::Exception& e)
    {
        throw ClientError(EXIT_UNREACHABLE, "cannot reach the system manager at " + _settings.address() + ": " +
                                                e.displayText() + " (is it running? --host, --port)");
    }
    return answer;
}

Answer ApiClient::expect(const std::string& method, const std::string& path, const std::string& body,
                         Wait wait) const
{
    Answer answer = request(method, path, body, wait);
    check(answer, method + " " + path);
    return answer;
}

void ApiClient::check(const Answer& answer, const std::string& what)
{
    if (answer.ok())
        return;
    std::string message = what + ": " + answer.statusLine();
    if (answer.status == 403)
        message += " (the token is missing or opens no route: --token, PEMO_TOKEN)";
    throw ClientError(ClientError::forStatus(answer.status), message);
}

} // namespace client
} // namespace pemo
