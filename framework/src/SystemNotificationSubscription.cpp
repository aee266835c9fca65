#include "SystemNotificationSubscription.h"

#include "pemo/Authentication.h"
#include "pemo/SystemNotificationClient.h"

#include <Poco/Buffer.h>
#include <Poco/NObserver.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>

namespace pemo {

using Poco::Net::ErrorNotification;
using Poco::Net::ReadableNotification;
using Poco::Net::WebSocket;

namespace {

constexpr int MAX_PAYLOAD = 1 << 20;
// The handshake reads through a 4 KB buffer, so it can hold at most this many
// (two-byte) frames; the bound keeps a flooding peer from holding the caller.
constexpr int MAX_BUFFERED_FRAMES = 2048;

} // namespace

SystemNotificationSubscription::SystemNotificationSubscription(const std::string& host, unsigned port,
                                                               const std::string& path, const std::string& token,
                                                               Poco::Net::SocketReactor& reactor,
                                                               Poco::NotificationCenter& center)
    : _reactor(reactor), _center(center), _logger(Poco::Logger::get("SystemNotificationClient")), _dead(false),
      _attached(false)
{
    Poco::Net::HTTPClientSession session(host, static_cast<Poco::UInt16>(port));
    session.setTimeout(Poco::Timespan(5, 0));
    Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_GET, path, Poco::Net::HTTPMessage::HTTP_1_1);
    request.set(HTTP_HEADER_AUTHENTICATION, token);
    Poco::Net::HTTPResponse response;
    _socket = std::make_unique<WebSocket>(session, request, response);
    _socket->setMaxPayloadSize(MAX_PAYLOAD);
    _socket->setReceiveTimeout(Poco::Timespan(2, 0));
    // The handshake's reader may already hold frames the port sent right
    // after its answer. The reactor only sees what is still in the kernel, so
    // those would wait for the next frame: deliver them before handing over.
    for (int i = 0; i < MAX_BUFFERED_FRAMES && _socket->available() > 0; ++i)
        if (!receiveOne())
        {
            _dead = true;
            _socket->close();
            return;
        }
    _attached = true;
    _reactor.addEventHandler(*_socket, Poco::NObserver<SystemNotificationSubscription, ReadableNotification>(
                                           *this, &SystemNotificationSubscription::onReadable));
    _reactor.addEventHandler(*_socket, Poco::NObserver<SystemNotificationSubscription, ErrorNotification>(
                                           *this, &SystemNotificationSubscription::onError));
}

SystemNotificationSubscription::~SystemNotificationSubscription()
{
    detach();
}

bool SystemNotificationSubscription::dead() const
{
    return _dead;
}

void SystemNotificationSubscription::onReadable(const Poco::AutoPtr<ReadableNotification>&)
{
    try
    {
        if (!receiveOne())
            detach();
    }
    catch (const Poco::Exception& e)
    {
        _logger.information("System notification subscription lost: " + e.displayText() + "; reconnecting later");
        detach();
    }
}

bool SystemNotificationSubscription::receiveOne()
{
    Poco::Buffer<char> buffer(0);
    int flags = 0;
    const int n = _socket->receiveFrame(buffer, flags);
    const int opcode = flags & WebSocket::FRAME_OP_BITMASK;
    if ((n == 0 && flags == 0) || opcode == WebSocket::FRAME_OP_CLOSE)
        return false;
    if (opcode == WebSocket::FRAME_OP_TEXT)
        _center.postNotification(new SystemNotificationEvent(std::string(buffer.begin(), n)));
    return true;
}

void SystemNotificationSubscription::onError(const Poco::AutoPtr<ErrorNotification>&)
{
    detach();
}

void SystemNotificationSubscription::detach()
{
    _dead = true;
    if (!_attached.exchange(false))
        return;
    _reactor.removeEventHandler(*_socket, Poco::NObserver<SystemNotificationSubscription, ReadableNotification>(
                                              *this, &SystemNotificationSubscription::onReadable));
    _reactor.removeEventHandler(*_socket, Poco::NObserver<SystemNotificationSubscription, ErrorNotification>(
                                              *this, &SystemNotificationSubscription::onError));
    try
    {
        _socket->close();
    }
    catch (const Poco::Exception&)
    {
        // Already closed by the peer.
    }
}

} // namespace pemo
