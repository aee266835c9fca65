#include "pemo/HealthSelfCheck.h"

#include "pemo/Authentication.h"

#include <Poco/Exception.h>
#include <Poco/Logger.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/NullStream.h>
#include <Poco/StreamCopier.h>

namespace pemo {

namespace {

std::string reachable(const std::string& host)
{
    if (host == "0.0.0.0")
        return "127.0.0.1";
    if (host == "::")
        return "::1";
    return host;
}

} // namespace

HealthSelfCheck::HealthSelfCheck(const std::string& host, std::uint16_t port, Poco::Timespan limit)
    : _host(reachable(host)), _port(port), _limit(limit)
{
}

bool HealthSelfCheck::operator()() const
{
    auto& logger = Poco::Logger::get("HealthSelfCheck");
    try
    {
        Poco::Net::HTTPClientSession session(_host, _port);
        session.setTimeout(_limit);
        Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_GET, "/_M_/health",
                                       Poco::Net::HTTPMessage::HTTP_1_1);
        request.set(HTTP_HEADER_AUTHENTICATION, MANAGEMENT_AUTHENTICATION);
        session.sendRequest(request);
        Poco::Net::HTTPResponse response;
        std::istream& body = session.receiveResponse(response);
        Poco::NullOutputStream discard;
        Poco::StreamCopier::copyStream(body, discard);
        if (response.getStatus() == Poco::Net::HTTPResponse::HTTP_OK)
            return true;
        logger.warning("Self-check of " + _host + ":" + std::to_string(_port) + " answered " +
                       std::to_string(response.getStatus()) + " " + response.getReason());
    }
    catch (const Poco::Exception& e)
    {
        logger.warning("Self-check of " + _host + ":" + std::to_string(_port) + " failed: " + e.displayText());
    }
    return false;
}

} // namespace pemo
