#pragma once

#include <Poco/Net/StreamSocket.h>

#include <chrono>
#include <list>
#include <mutex>

namespace pemo {

/// The connections an HTTP server is serving, and which of them wait idle
/// for a next request. Each held connection ties up one worker thread, so
/// when a new connection finds every worker taken, the one idle longest
/// gives its worker up: a client holding kept-alive connections open can
/// slow nobody down.
///
/// A connection kept alive after a request may be given up at once, as a
/// keep-alive time-out would (HTTP clients expect that). One that has not
/// sent its first request is given up only after FRESH_GRACE, so a request
/// already on its way is not lost.
class IdleConnections
{
public:
    static constexpr std::chrono::milliseconds FRESH_GRACE{1000};

    /// workers: how many connections the server serves at once.
    explicit IdleConnections(int workers);

    /// Called on a connection's worker thread before and after serving it;
    /// the hooks below then refer to it.
    void enter(const Poco::Net::StreamSocket& socket);
    void leave();

    /// Mark the current thread's connection busy, and idle again once the
    /// answer is out; upgraded (a WebSocket took the socket over) keeps it
    /// from ever being given up. No-ops on a thread serving no connection.
    static void requestStarted();
    static void requestEnded(bool upgraded);

    /// Called for each accepted connection: when every worker holds a
    /// connection, shuts the longest idle one down so that its worker takes
    /// the new one. True when one was given up.
    bool makeRoom();

    /// How many connections are being served.
    std::size_t size() const;

private:
    using Clock = std::chrono::steady_clock;

    struct Entry
    {
        IdleConnections* owner;
        Poco::Net::StreamSocket socket;
        Clock::time_point idleSince;
        unsigned requests = 0;
        bool busy = false;
        bool pinned = false;
    };

    bool reclaimable(const Entry& entry, Clock::time_point now) const;

    const std::size_t _workers;
    mutable std::mutex _mutex;
    std::list<Entry> _entries;
};

} // namespace pemo
