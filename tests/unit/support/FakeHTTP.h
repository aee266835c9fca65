#pragma once

#include <Poco/Exception.h>
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
    explicit FakeRequest(const std::string& body = std::string()) : _body(body) {}

    std::istream& stream() override { return _body; }
    const Poco::Net::SocketAddress& clientAddress() const override { return _address; }
    const Poco::Net::SocketAddress& serverAddress() const override { return _address; }
    const Poco::Net::HTTPServerParams& serverParams() const override { throw Poco::NotImplementedException(); }
    Poco::Net::HTTPServerResponse& response() const override { throw Poco::NotImplementedException(); }
    bool secure() const override { return false; }

private:
    std::istringstream _body;
    Poco::Net::SocketAddress _address;
};

/// A response that records what a handler sent instead of writing it to a
/// socket.
class FakeResponse : public Poco::Net::HTTPServerResponse
{
public:
    void sendContinue() override {}
    std::ostream& send() override
    {
        ++_sendCount;
        return _body;
    }
    void sendBuffer(const void* buffer, std::size_t length) override
    {
        ++_sendCount;
        setContentLength(static_cast<std::streamsize>(length));
        _body.write(static_cast<const char*>(buffer), static_cast<std::streamsize>(length));
    }
    void sendFile(const std::string&, const std::string&) override { throw Poco::NotImplementedException(); }
    void redirect(const std::string&, HTTPStatus) override { throw Poco::NotImplementedException(); }
    void requireAuthentication(const std::string&) override { throw Poco::NotImplementedException(); }
    bool sent() const override { return _sendCount > 0; }

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
