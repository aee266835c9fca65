#include "pemo/ServiceRegistryClient.h"

#include "pemo/BodyReader.h"
#include "pemo/HTTPExchange.h"

#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/NetException.h>
#include <Poco/URI.h>

#include <cereal/archives/json.hpp>
#include <cereal/types/vector.hpp>

#include <sstream>

namespace pemo {

namespace {

using Poco::Net::HTTPRequest;
using Poco::Net::HTTPResponse;

// Far more than the records of every service of a device take.
const std::size_t MAX_REPLY = 1048576;

struct Reply
{
    HTTPResponse::HTTPStatus status;
    std::string body;
};

std::string toJson(const ServiceRecord& record)
{
    std::ostringstream out;
    {
        cereal::JSONOutputArchive archive(out, cereal::JSONOutputArchive::Options::NoIndent());
        const_cast<ServiceRecord&>(record).serialize(archive);
    }
    return out.str();
}

std::string recordPath(const std::string& name)
{
    std::string encoded;
    Poco::URI::encode(name, "/?#", encoded);
    return "/registry/" + encoded;
}

} // namespace

ServiceRegistryClient::ServiceRegistryClient() : ServiceRegistryClient("127.0.0.1", 0)
{
}

ServiceRegistryClient::ServiceRegistryClient(const std::string& host, std::uint16_t port)
    : _host(host), _port(port), _timeout(5, 0)
{
}

void ServiceRegistryClient::setAddress(const std::string& host, std::uint16_t port)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _host = host;
    _port = port;
}

void ServiceRegistryClient::setTimeout(const Poco::Timespan& timeout)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _timeout = timeout;
}

Poco::Timespan ServiceRegistryClient::timeout() const
{
    std::lock_guard<std::mutex> lock(_mutex);
    return _timeout;
}

std::string ServiceRegistryClient::getHost() const
{
    std::lock_guard<std::mutex> lock(_mutex);
    return _host;
}

std::uint16_t ServiceRegistryClient::getPort() const
{
    std::lock_guard<std::mutex> lock(_mutex);
    return _port;
}

namespace {

Reply exchange(const std::string& host, std::uint16_t port, const Poco::Timespan& timeout, const std::string& method,
               const std::string& path, const std::string& body)
{
    HTTPRequest request(method, path, Poco::Net::HTTPMessage::HTTP_1_1);
    request.setKeepAlive(false);
    if (!body.empty())
        request.setContentType("application/json");
    const HTTPExchange::Answer answer =
        HTTPExchange::perform(Poco::Net::SocketAddress(host, port), request, body, timeout, MAX_REPLY);
    // Another process's answer: checked before cereal parses it.
    BodyReader::checkDepth(answer.body);
    return Reply{static_cast<HTTPResponse::HTTPStatus>(answer.status), answer.body};
}

void expect(const Reply& reply, HTTPResponse::HTTPStatus status, const std::string& what)
{
    if (reply.status != status)
        throw Poco::Net::HTTPException(what + ": registry answered " + std::to_string(reply.status));
}

} // namespace

void ServiceRegistryClient::registerService(const ServiceRecord& record)
{
    const Reply reply = exchange(getHost(), getPort(), timeout(), HTTPRequest::HTTP_POST, "/registry", toJson(record));
    expect(reply, HTTPResponse::HTTP_NO_CONTENT, "register " + record.name);
}

void ServiceRegistryClient::deleteService(const std::string& name)
{
    const Reply reply = exchange(getHost(), getPort(), timeout(), HTTPRequest::HTTP_DELETE, recordPath(name), "");
    if (reply.status != HTTPResponse::HTTP_NOT_FOUND)
        expect(reply, HTTPResponse::HTTP_NO_CONTENT, "delete " + name);
}

std::vector<ServiceRecord> ServiceRegistryClient::getServices() const
{
    const Reply reply = exchange(getHost(), getPort(), timeout(), HTTPRequest::HTTP_GET, "/registry", "");
    expect(reply, HTTPResponse::HTTP_OK, "list services");
    std::vector<ServiceRecord> records;
    try
    {
        std::istringstream in(reply.body);
        cereal::JSONInputArchive archive(in);
        archive(cereal::make_nvp("services", records));
    }
    catch (const std::exception& e)
    {
        throw Poco::DataFormatException("registry list is not readable", e.what());
    }
    return records;
}

std::optional<ServiceRecord> ServiceRegistryClient::findService(const std::string& name) const
{
    const Reply reply = exchange(getHost(), getPort(), timeout(), HTTPRequest::HTTP_GET, recordPath(name), "");
    if (reply.status == HTTPResponse::HTTP_NOT_FOUND)
        return std::nullopt;
    expect(reply, HTTPResponse::HTTP_OK, "find " + name);
    ServiceRecord record;
    try
    {
        std::istringstream in(reply.body);
        cereal::JSONInputArchive archive(in);
        record.serialize(archive);
    }
    catch (const std::exception& e)
    {
        throw Poco::DataFormatException("registry record is not readable", e.what());
    }
    return record;
}

} // namespace pemo
