#include "service/ServiceFanOut.h"

#include <pemo/Authentication.h>

#include <Poco/Exception.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/NullStream.h>
#include <Poco/NumberFormatter.h>
#include <Poco/StreamCopier.h>

#include <map>
#include <memory>

namespace pemo {
namespace system {

namespace {

using Poco::Net::HTTPClientSession;
using Poco::Net::SocketAddress;

struct Exchange
{
    SocketAddress address;
    std::unique_ptr<HTTPClientSession> session;
};

bool send(Exchange& exchange, const std::string& path, const std::string& body, const std::string& logPrefix,
          Poco::Logger& logger)
{
    const std::string where = exchange.address.toString();
    Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_POST, path, Poco::Net::HTTPMessage::HTTP_1_1);
    request.setContentType("application/json");
    request.setKeepAlive(false);
    request.setChunkedTransferEncoding(false);
    request.setContentLength(static_cast<std::streamsize>(body.size()));
    request.set(pemo::HTTP_HEADER_AUTHENTICATION, pemo::MANAGEMENT_AUTHENTICATION);
    logger.debug(logPrefix + "sending request to " + where);
    try
    {
        exchange.session->sendRequest(request) << body << std::flush;
        return true;
    }
    catch (const Poco::Exception& e)
    {
        logger.error(logPrefix + "Error sending request to " + where + ": " + e.displayText() + "; not told");
        return false;
    }
}

bool receive(Exchange& exchange, const std::string& logPrefix, Poco::Logger& logger)
{
    const std::string where = exchange.address.toString();
    try
    {
        Poco::Net::HTTPResponse response;
        std::istream& in = exchange.session->receiveResponse(response);
        Poco::NullOutputStream discard;
        Poco::StreamCopier::copyStream(in, discard);
        const int status = static_cast<int>(response.getStatus());
        if (status >= 200 && status < 300)
        {
            logger.debug(logPrefix + where + " status " + Poco::NumberFormatter::format(status));
            return true;
        }
        logger.error(logPrefix + "(" + where + " status " + Poco::NumberFormatter::format(status) + ") message: \"" +
                     response.getReason() + "\"");
    }
    catch (const Poco::Exception& e)
    {
        logger.error(logPrefix + "Error receiving response from " + where + ": " + e.displayText());
    }
    return false;
}

} // namespace

ServiceFanOut::ServiceFanOut(pemo::ServiceRegistryClient& registry, std::uint32_t timeoutMs, Poco::Logger& logger)
    : _registry(registry), _timeoutMs(timeoutMs), _logger(logger)
{
}

std::vector<pemo::ServiceRecord> ServiceFanOut::getRegisteredServices(const std::string& logPrefix) const
{
    std::vector<pemo::ServiceRecord> records;
    try
    {
        records = _registry.getServices();
    }
    catch (const Poco::Exception& e)
    {
        _logger.error(logPrefix + "ServiceRegistry connection error: " + e.displayText() +
                      "; telling the registry only");
    }
    pemo::ServiceRecord self;
    self.name = "service-registry";
    self.host = _registry.getHost();
    self.port = _registry.getPort();
    self.path = "/";
    records.push_back(self);
    return records;
}

// Every request is sent before any answer is read: the services then work
// on the change at the same time, and one that never answers holds up only
// the reading of its own answer.
bool ServiceFanOut::post(const std::string& path, const std::string& body, const std::string& logPrefix) const
{
    bool allTold = true;
    std::map<SocketAddress, std::string> addresses;
    for (const auto& record : getRegisteredServices(logPrefix))
    {
        try
        {
            addresses.emplace(SocketAddress(record.host, static_cast<Poco::UInt16>(record.port)), record.name);
        }
        catch (const Poco::Exception& e)
        {
            _logger.error(logPrefix + "Error sending request to " + record.name + " at " + record.host + ": " +
                          e.displayText() + "; not told");
            allTold = false;
        }
    }
    const Poco::Timespan timeout(static_cast<Poco::Timespan::TimeDiff>(_timeoutMs) * 1000);
    std::vector<Exchange> sent;
    for (const auto& entry : addresses)
    {
        Exchange exchange{entry.first, std::make_unique<HTTPClientSession>(entry.first)};
        exchange.session->setTimeout(timeout);
        if (send(exchange, path, body, logPrefix, _logger))
            sent.push_back(std::move(exchange));
        else
            allTold = false;
    }
    for (auto& exchange : sent)
        allTold = receive(exchange, logPrefix, _logger) && allTold;
    return allTold;
}

} // namespace system
} // namespace pemo
