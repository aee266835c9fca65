#include "PortSubscriber.h"

#include <Poco/Buffer.h>
#include <Poco/NObserver.h>

namespace pemo {

namespace {

// A subscriber this far behind is not reading; it is cut off rather than
// allowed to hold memory without bound.
constexpr std::size_t MAX_QUEUED_FRAMES = 1024;
const Poco::Timespan SEND_TIMEOUT(2, 0);
const Poco::Timespan RECEIVE_TIMEOUT(2, 0);

} // namespace

using Poco::Net::ErrorNotification;
using Poco::Net::ReadableNotification;
using Poco::Net::ShutdownNotification;
using Poco::Net::WebSocket;

PortSubscriber::PortSubscriber(const WebSocket& socket, Poco::Net::SocketReactor& reactor, std::size_t maxFrameSize,
                               DropCallback onDrop)
    : _socket(socket), _reactor(reactor), _logger(Poco::Logger::get("Port")), _onDrop(std::move(onDrop)), _dead(false),
      _attached(false)
{
    _socket.setBlocking(true);
    _socket.setSendTimeout(SEND_TIMEOUT);
    _socket.setReceiveTimeout(RECEIVE_TIMEOUT);
    _socket.setMaxPayloadSize(static_cast<int>(maxFrameSize));
}

PortSubscriber::~PortSubscriber()
{
    detach();
}

void PortSubscriber::attach()
{
    _attached = true;
    _reactor.addEventHandler(_socket, Poco::NObserver<PortSubscriber, ReadableNotification>(*this, &PortSubscriber::onReadable));
    _reactor.addEventHandler(_socket, Poco::NObserver<PortSubscriber, ErrorNotification>(*this, &PortSubscriber::onError));
    _reactor.addEventHandler(_socket, Poco::NObserver<PortSubscriber, ShutdownNotification>(*this, &PortSubscriber::onShutdown));
}

void PortSubscriber::detach()
{
    _dead = true;
    if (!_attached.exchange(false))
        return;
    _reactor.removeEventHandler(_socket, Poco::NObserver<PortSubscriber, ReadableNotification>(*this, &PortSubscriber::onReadable));
    _reactor.removeEventHandler(_socket, Poco::NObserver<PortSubscriber, ErrorNotification>(*this, &PortSubscriber::onError));
    _reactor.removeEventHandler(_socket, Poco::NObserver<PortSubscriber, ShutdownNotification>(*this, &PortSubscriber::onShutdown));
    try
    {
        _socket.close();
    }
    catch (const Poco::Exception&)
    {
        // Already gone; nothing left to release.
    }
}

bool PortSubscriber::enqueue(const Frame& frame)
{
    if (_dead)
        return false;
    if (_queue.size() >= MAX_QUEUED_FRAMES)
    {
        _logger.warning("Port subscriber fell " + std::to_string(_queue.size()) +
                        " frames behind; disconnecting it");
        kill();
        return false;
    }
    _queue.push_back(frame);
    return true;
}

bool PortSubscriber::takeFrame(Frame& frame)
{
    if (_queue.empty() || _dead)
        return false;
    frame = std::move(_queue.front());
    _queue.pop_front();
    return true;
}

bool PortSubscriber::hasFrames() const
{
    return !_queue.empty() && !_dead;
}

int PortSubscriber::descriptor() const
{
    return _dead ? -1 : static_cast<int>(_socket.impl()->sockfd());
}

bool PortSubscriber::send(const Frame& frame)
{
    std::lock_guard<std::mutex> lock(_sendMutex);
    if (_dead)
        return false;
    try
    {
        _socket.sendFrame(frame.payload.data(), static_cast<int>(frame.payload.size()), frame.flags);
        return true;
    }
    catch (const Poco::Exception& e)
    {
        _logger.information("Port subscriber send failed: " + e.displayText() + "; disconnecting it");
        kill();
        return false;
    }
}

void PortSubscriber::kill()
{
    _dead = true;
    try
    {
        _socket.shutdown();
    }
    catch (const Poco::Exception&)
    {
        // The reactor sees the broken socket either way.
    }
}

bool PortSubscriber::dead() const
{
    return _dead;
}

// Subscribers only listen; what they send is a close, a ping, or noise to
// be read and discarded so the socket does not stay readable forever.
void PortSubscriber::onReadable(const Poco::AutoPtr<ReadableNotification>&)
{
    Poco::Buffer<char> buffer(0);
    int flags = 0;
    int n = 0;
    try
    {
        n = _socket.receiveFrame(buffer, flags);
    }
    catch (const Poco::Exception& e)
    {
        _logger.debug("Port subscriber receive failed: " + e.displayText());
        drop();
        return;
    }
    const int opcode = flags & WebSocket::FRAME_OP_BITMASK;
    if ((n == 0 && flags == 0) || opcode == WebSocket::FRAME_OP_CLOSE)
    {
        drop();
        return;
    }
    if (opcode == WebSocket::FRAME_OP_PING)
    {
        std::lock_guard<std::mutex> lock(_sendMutex);
        try
        {
            _socket.sendFrame(buffer.begin(), n, WebSocket::FRAME_FLAG_FIN | WebSocket::FRAME_OP_PONG);
        }
        catch (const Poco::Exception&)
        {
            _dead = true;
        }
    }
}

void PortSubscriber::onError(const Poco::AutoPtr<ErrorNotification>&)
{
    drop();
}

void PortSubscriber::onShutdown(const Poco::AutoPtr<ShutdownNotification>&)
{
    _dead = true;
}

void PortSubscriber::drop()
{
    _dead = true;
    _onDrop(*this);
}

} // namespace pemo
