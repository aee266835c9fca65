#pragma once

#include <Poco/Logger.h>
#include <Poco/Net/SocketNotification.h>
#include <Poco/Net/SocketReactor.h>
#include <Poco/Net/WebSocket.h>

#include <atomic>
#include <deque>
#include <functional>
#include <mutex>
#include <string>

namespace pemo {

/// One WebSocket subscriber of a Port. Its reads (close, ping, stray
/// frames) are handled on the socket reactor; its writes are done by the
/// port's sender thread from the subscriber's own bounded queue.
class PortSubscriber
{
public:
    struct Frame
    {
        std::string payload;
        int flags;
    };

    using DropCallback = std::function<void(PortSubscriber&)>;

    PortSubscriber(const Poco::Net::WebSocket& socket, Poco::Net::SocketReactor& reactor, std::size_t maxFrameSize,
                   DropCallback onDrop);
    ~PortSubscriber();

    /// Starts receiving reactor events.
    void attach();
    /// Stops receiving reactor events and closes the socket; idempotent.
    void detach();

    /// Queues a frame; false (and the subscriber marked dead) when its
    /// queue is full. Caller holds the port's lock.
    bool enqueue(const Frame& frame);
    /// Takes the next frame to send; false when none. Caller holds the
    /// port's lock.
    bool takeFrame(Frame& frame);
    bool hasFrames() const;

    /// The socket's descriptor, for the port's poll set; -1 once dead.
    int descriptor() const;
    /// Sends one frame; false (and the subscriber marked dead) on failure.
    bool send(const Frame& frame);

    /// Marks the subscriber dead and shuts its socket down so the reactor
    /// notices and drops it on its own thread.
    void kill();
    bool dead() const;

private:
    void onReadable(const Poco::AutoPtr<Poco::Net::ReadableNotification>& notification);
    void onError(const Poco::AutoPtr<Poco::Net::ErrorNotification>& notification);
    void onShutdown(const Poco::AutoPtr<Poco::Net::ShutdownNotification>& notification);
    void drop();

    Poco::Net::WebSocket _socket;
    Poco::Net::SocketReactor& _reactor;
    Poco::Logger& _logger;
    DropCallback _onDrop;
    std::mutex _sendMutex;
    std::deque<Frame> _queue;
    std::atomic<bool> _dead;
    std::atomic<bool> _attached;
};

} // namespace pemo
