#pragma once

#include <Poco/AutoPtr.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/SocketAddress.h>

#include <Poco/MemoryStream.h>

#include <memory>
#include <string>

namespace pemo {

/// A request whose whole body is already in memory: one a service of this
/// process is handed without a connection, or one that a connection has
/// delivered in full. The request line and headers are exactly as received,
/// the body as the server decoded it.
class BufferedRequest : public Poco::Net::HTTPServerRequest
{
public:
    /// server is the address the caller meant to reach; response must
    /// outlive the request. The client is the loopback address with port 0:
    /// a caller in this process has no socket.
    BufferedRequest(const Poco::Net::HTTPRequest& request, std::string body, const Poco::Net::SocketAddress& server,
                    Poco::Net::HTTPServerResponse& response);
    /// A request received from client; params are the server's.
    BufferedRequest(const Poco::Net::HTTPRequest& request, std::string body, const Poco::Net::SocketAddress& client,
                    const Poco::Net::SocketAddress& server, Poco::Net::HTTPServerParams::Ptr params,
                    Poco::Net::HTTPServerResponse& response);

    std::istream& stream() override;
    const Poco::Net::SocketAddress& clientAddress() const override;
    const Poco::Net::SocketAddress& serverAddress() const override;
    const Poco::Net::HTTPServerParams& serverParams() const override;
    Poco::Net::HTTPServerResponse& response() const override;
    bool secure() const override;

private:
    std::string _body;
    // Made on first use: most requests have no body to read.
    std::unique_ptr<Poco::MemoryInputStream> _stream;
    Poco::Net::SocketAddress _client;
    Poco::Net::SocketAddress _server;
    Poco::Net::HTTPServerParams::Ptr _params;
    Poco::Net::HTTPServerResponse& _response;
};

} // namespace pemo
