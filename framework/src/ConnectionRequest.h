#pragma once

#include "BufferedRequest.h"

#include <Poco/Net/HTTPSession.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/Net/WebSocket.h>

namespace pemo {

/// A request that a connection delivered in full to the HTTP server, which
/// may take that connection over as a WebSocket.
class ConnectionRequest : public BufferedRequest
{
public:
    /// session is the one the response is written through, on socket; both
    /// must outlive the request.
    ConnectionRequest(const Poco::Net::HTTPRequest& request, std::string body, const Poco::Net::SocketAddress& client,
                      const Poco::Net::SocketAddress& server, Poco::Net::HTTPServerParams::Ptr params,
                      Poco::Net::HTTPServerResponse& response, const Poco::Net::StreamSocket& socket,
                      Poco::Net::HTTPSession& session);

    /// Answers the WebSocket handshake with 101 and returns the server end
    /// of the connection; from then on the connection is the WebSocket's.
    /// Throws Poco::Net::WebSocketException, with the code Poco's own server
    /// gives, when the request is no valid handshake (nothing sent then).
    Poco::Net::WebSocket acceptWebSocket();

    /// Whether acceptWebSocket() took the connection over.
    bool upgraded() const;

private:
    Poco::Net::StreamSocket _socket;
    Poco::Net::HTTPSession& _session;
    bool _upgraded = false;
};

} // namespace pemo
