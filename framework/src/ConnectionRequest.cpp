#include "ConnectionRequest.h"

#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/WebSocketImpl.h>
#include <Poco/String.h>

namespace pemo {

namespace {

// The handshake's accept key, computed as Poco's own server does.
struct Handshake : Poco::Net::WebSocket
{
    using Poco::Net::WebSocket::computeAccept;
};

} // namespace

ConnectionRequest::ConnectionRequest(const Poco::Net::HTTPRequest& request, std::string body,
                                     const Poco::Net::SocketAddress& client, const Poco::Net::SocketAddress& server,
                                     Poco::Net::HTTPServerParams::Ptr params, Poco::Net::HTTPServerResponse& response,
                                     const Poco::Net::StreamSocket& socket, Poco::Net::HTTPSession& session)
    : BufferedRequest(request, std::move(body), client, server, std::move(params), response), _socket(socket),
      _session(session)
{
}

Poco::Net::WebSocket ConnectionRequest::acceptWebSocket()
{
    using Poco::Net::WebSocket;
    using Poco::Net::WebSocketException;
    if (!hasToken("Connection", "upgrade") || Poco::icompare(get("Upgrade", ""), "websocket") != 0)
        throw WebSocketException("No WebSocket handshake", WebSocket::WS_ERR_NO_HANDSHAKE);
    const std::string version = get("Sec-WebSocket-Version", "");
    if (version.empty())
        throw WebSocketException("Missing Sec-WebSocket-Version in handshake request",
                                 WebSocket::WS_ERR_HANDSHAKE_NO_VERSION);
    if (version != WebSocket::WEBSOCKET_VERSION)
        throw WebSocketException("Unsupported WebSocket version requested", version,
                                 WebSocket::WS_ERR_HANDSHAKE_UNSUPPORTED_VERSION);
    const std::string key = Poco::trim(get("Sec-WebSocket-Key", ""));
    if (key.empty())
        throw WebSocketException("Missing Sec-WebSocket-Key in handshake request", WebSocket::WS_ERR_HANDSHAKE_NO_KEY);

    Poco::Net::HTTPServerResponse& answer = response();
    answer.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_SWITCHING_PROTOCOLS);
    answer.set("Upgrade", "websocket");
    answer.set("Connection", "Upgrade");
    answer.set("Sec-WebSocket-Accept", Handshake::computeAccept(key));
    answer.setContentLength(Poco::Net::HTTPMessage::UNKNOWN_CONTENT_LENGTH);
    answer.send().flush();
    // The WebSocket shares the connection's socket and keeps it open after
    // the server lets go of it.
    auto* impl = new Poco::Net::WebSocketImpl(static_cast<Poco::Net::StreamSocketImpl*>(_socket.impl()), _session,
                                              false);
    _upgraded = true;
    return WebSocket(Poco::Net::StreamSocket(impl));
}

bool ConnectionRequest::upgraded() const
{
    return _upgraded;
}

} // namespace pemo
