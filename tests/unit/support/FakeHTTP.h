#pragma once

#include <Poco/Exception.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <pemo/InProcessResponse.h>

#include <sstream>
#include <string>

namespace pemo {
namespace system {
namespace test {

/// A request whose body is a fixed string; nothing else of it is used. Its
/// response is a pemo::InProcessResponse.
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

} // namespace test
} // namespace system
} // namespace pemo
