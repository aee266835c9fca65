#pragma once

#include <Poco/Exception.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <gtest/gtest.h>
#include <pemo/HTTPRequestHandler.h>
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

/// What a handler answered when called straight.
struct HandlerAnswer
{
    int status = 0;
    std::string reason;
    std::string body;

    /// "STATUS REASON\nBODY": the whole answer, to compare at once.
    std::string text() const { return std::to_string(status) + " " + reason + "\n" + body; }
};

/// Calls handler's get (method "GET") or post with body, as the dispatcher
/// would. A handler sends its head exactly once, with the body's length:
/// anything else fails the calling test.
inline HandlerAnswer call(pemo::HTTPRequestHandler& handler, const std::string& method, const std::string& body = "")
{
    FakeRequest request(body);
    pemo::InProcessResponse response;
    if (method == "GET")
        handler.get(request, response, {}, nullptr);
    else
        handler.post(request, response, {}, nullptr);
    EXPECT_EQ(1, response.sendCount()) << method;
    EXPECT_EQ(static_cast<std::streamsize>(response.body().size()), response.getContentLength()) << method;
    return {response.getStatus(), response.getReason(), response.body()};
}

} // namespace test
} // namespace system
} // namespace pemo
