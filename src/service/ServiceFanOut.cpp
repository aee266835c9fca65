#include "service/ServiceFanOut.h"

#include <pemo/Authentication.h>
#include <pemo/HTTPExchange.h>

#include <Poco/Exception.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/NumberFormatter.h>

#include <map>
#include <memory>

namespace pemo {
namespace system {

namespace {

using Poco::Net::SocketAddress;

// One address's request. Its log lines are written together, when its
// answer has been read, so they stay in the address map's order however
// the sends and answers interleave.
struct Exchange
{
    std::unique_ptr<pemo::HTTPExchange> http;
    std::string sendError;
};

void send(Exchange& exchange, const std::string& path, const std::string& body)
{
    Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_POST, path, Poco::Net::HTTPMessage::HTTP_1_1);
    request.setContentType("application/json");
    request.setKeepAlive(false);
    request.setChunkedTransferEncoding(false);
    request.setContentLength(static_cast<std::streamsize>(body.size()));
    request.set(pemo::HTTP_HEADER_AUTHENTICATION, pemo::MANAGEMENT_AUTHENTICATION);
    try
    {
        exchange.http->send(request, body);
    }
    catch (const Poco::Exception& e)
    {
        exchange.sendError = e.displayText();
    }
}

bool receive(Exchange& exchange, const std::string& logPrefix, Poco::Logger& logger)
{
    const std::string where = exchange.http->address().toString();
    logger.debug(logPrefix + "sending request to " + where);
    if (!exchange.sendError.empty())
    {
        logger.error(logPrefix + "Error sending request to " + where + ": " + exchange.sendError + "; not told");
        return false;
    }
    try
    {
        const pemo::HTTPExchange::Answer answer = exchange.http->receive();
        const std::string status = Poco::NumberFormatter::format(answer.status);
        if (answer.status >= 200 && answer.status < 300)
        {
            logger.debug(logPrefix + where + " status " + status);
            return true;
        }
        logger.error(logPrefix + "(" + where + " status " + status + ") message: \"" + answer.reason + "\"");
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
// the reading of its own answer. The system manager's own address is served
// in-process while it is sent to (see HTTPExchange), so telling itself
// needs none of its HTTP workers even when the caller holds one.
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
    std::vector<Exchange> exchanges;
    for (const auto& entry : addresses)
    {
        exchanges.push_back(Exchange{std::make_unique<pemo::HTTPExchange>(entry.first, timeout), {}});
        send(exchanges.back(), path, body);
    }
    for (auto& exchange : exchanges)
        allTold = receive(exchange, logPrefix, _logger) && allTold;
    return allTold;
}

} // namespace system
} // namespace pemo
