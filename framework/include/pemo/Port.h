#pragma once

#include <Poco/Net/SocketReactor.h>
#include <Poco/Net/WebSocket.h>

#include <cstddef>
#include <memory>
#include <string>

namespace pemo {

/// A broadcast endpoint: WebSocket subscribers connect at the path the port
/// is registered at, and every frame broadcast on the port reaches each of
/// them once, in order.
///
/// Subscribers live on the socket reactor, not on HTTP server threads, and
/// each has its own bounded outgoing queue drained by the port's sender
/// thread: broadcasting never blocks on a subscriber. A subscriber whose
/// connection fails, whose send times out, or whose queue overflows is
/// dropped. Every operation is safe to call from any thread.
class Port
{
public:
    /// maxFrameSize is the largest frame, in bytes, that the port sends or
    /// accepts from a subscriber.
    Port(Poco::Net::SocketReactor& reactor, std::size_t maxFrameSize);
    ~Port();

    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;

    /// Takes over an upgraded WebSocket as a new subscriber.
    void subscribe(const Poco::Net::WebSocket& socket);

    /// Queues one frame for every current subscriber and returns how many
    /// it was queued for. flags are WebSocket frame flags (129: final text
    /// frame). Throws Poco::InvalidArgumentException when length exceeds
    /// maxFrameSize().
    std::size_t broadcastFrame(const void* buffer, int length, int flags);
    std::size_t broadcastFrame(const std::string& frame, int flags);

    /// The same as broadcastFrame: the frame goes to every subscriber.
    std::size_t sendFrame(const void* buffer, int length, int flags);

    std::size_t subscriberCount() const;
    std::size_t maxFrameSize() const;

    /// Refuses new subscribers, waits (up to about two seconds) for the
    /// frames already queued to be sent, then closes every subscriber;
    /// called on shutdown.
    void close();

private:
    class Impl;
    std::unique_ptr<Impl> _impl;
};

} // namespace pemo
