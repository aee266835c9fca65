#pragma once

#include <Poco/AutoPtr.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/SocketAddress.h>

#include <sstream>
#include <string>

namespace pemo {

class InProcessResponse;

/// A request handed to a service of this process without a connection: the
/// request line and headers exactly as the caller built them, and the body
/// as the server would have decoded it.
class InProcessRequest : public Poco::Net::HTTPServerRequest
{
public:
    /// server is the address the caller meant to reach; response must
    /// outlive the request.
    InProcessRequest(const Poco::Net::HTTPRequest& request, const std::string& body,
                     const Poco::Net::SocketAddress& server, InProcessResponse& response);

    std::istream& stream() override;
    /// The loopback address with port 0: the caller has no socket.
    const Poco::Net::SocketAddress& clientAddress() const override;
    const Poco::Net::SocketAddress& serverAddress() const override;
    const Poco::Net::HTTPServerParams& serverParams() const override;
    Poco::Net::HTTPServerResponse& response() const override;
    bool secure() const override;

private:
    std::istringstream _body;
    Poco::Net::SocketAddress _client;
    Poco::Net::SocketAddress _server;
    Poco::AutoPtr<Poco::Net::HTTPServerParams> _params;
    InProcessResponse& _response;
};

} // namespace pemo
