#pragma once

#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>

#include <sstream>
#include <string>

namespace pemo {
namespace system {
namespace test {

/// A request whose body is a fixed string; nothing else of it is used.
class FakeRequest : public Poco::Net::HTTPServerRequest
{
public:
    explicit FakeRequest(const std::string& body = std::string());

    std::istream& stream() override;
    const Poco::Net::SocketAddress& clientAddress() const override;
    const Poco::Net::SocketAddress& serverAddress() const override;
    const Poco::Net::HTTPServerParams& serverParams() const override;
    Poco::Net::HTTPServerResponse& response() const override;
    bool secure() const override;

private:
    std::istringstream _body;
    Poco::Net::SocketAddress _address;
};

/// A response that records what a handler sent instead of writing it to a
/// socket.
class FakeResponse : public Poco::Net::HTTPServerResponse
{
public:
    void sendContinue() override;
    std::ostream& send() override;
    void sendFile(const std::string& path, const std::string& mediaType) override;
    void sendBuffer(const void* buffer, std::size_t length) override;
    void redirect(const std::string& uri, HTTPStatus status) override;
    void requireAuthentication(const std::string& realm) override;
    bool sent() const override;

    /// How many times the header went out; a handler must send exactly once.
    int sendCount() const { return _sendCount; }
    std::string body() const { return _body.str(); }

private:
    int _sendCount = 0;
    std::ostringstream _body;
};

} // namespace test
} // namespace system
} // namespace pemo
