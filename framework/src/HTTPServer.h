#pragma once

#include "ConnectionTable.h"
#include "RequestFramer.h"
#include "WakeUpSocket.h"

#include <Poco/Logger.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/HTTPServerSession.h>
#include <Poco/Net/PollSet.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/RunnableAdapter.h>
#include <Poco/Thread.h>
#include <Poco/ThreadPool.h>
#include <Poco/Timespan.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

namespace pemo {

/// An HTTP/1.1 server whose workers only ever see complete requests. One
/// thread waits on every connection at once (epoll, through Poco's
/// PollSet): it accepts, reads each request's head and body into a bounded
/// buffer (RequestFramer), and hands the request to a worker of the pool
/// only once it is whole. A worker answers through the request handler
/// factory, as Poco::Net::HTTPServer's connections do, and gives a
/// kept-alive connection back to the waiting thread; a WebSocket handshake
/// (ConnectionRequest::acceptWebSocket) takes the connection over for good.
///
/// So a slow, silent or dripping client costs a descriptor and a buffer,
/// never a worker: deadlines (ConnectionTable) close what is too slow with
/// 408, a head too large is refused with 431, a body too large with 413,
/// and at the connection limit the connection idle longest makes room.
class HTTPServer
{
public:
    struct Settings
    {
        /// Workers started in the pool; the pool must have room for them.
        int workers = 16;
        RequestFramer::Limits request;
        ConnectionTable::Limits connections;
        /// How long one write of an answer may block on a client that
        /// does not read.
        Poco::Timespan sendTimeout{10, 0};
        /// How long a worker that has answered waits for the same
        /// kept-alive client's next request. It gives the connection back
        /// at once when another request waits and no worker is free.
        std::chrono::microseconds keepAliveGrace{5000};
    };

    /// Serves connections accepted on socket, which must be listening.
    HTTPServer(Poco::Net::HTTPRequestHandlerFactory::Ptr factory, Poco::ThreadPool& pool,
               const Poco::Net::ServerSocket& socket, const Settings& settings);
    ~HTTPServer();

    HTTPServer(const HTTPServer&) = delete;
    HTTPServer& operator=(const HTTPServer&) = delete;

    void start();

    /// Stops accepting and reading, closes every connection that waits for
    /// a request, and lets the workers end once the requests already
    /// received are answered (their connections then close). The pool's
    /// threads are free once joinAll() returns. abortCurrent is accepted
    /// for Poco's interface: no request is ever cut short.
    void stopAll(bool abortCurrent);

    /// How many connections are open, upgraded ones excluded.
    std::size_t connections() const;

private:
    using Clock = ConnectionTable::Clock;
    struct Connection;
    using ConnectionPtr = std::shared_ptr<Connection>;

    // The waiting thread.
    void run();
    void waitOnce();
    Poco::Timespan waitTime(Clock::time_point now) const;
    void acceptAll(Clock::time_point now);
    bool acceptFailed(int error, Clock::time_point now);
    void admit(int descriptor, const Poco::Net::SocketAddress& peer, Clock::time_point now);
    void receive(int descriptor, Clock::time_point now);
    void advance(const ConnectionPtr& connection, RequestFramer::State state, Clock::time_point now);
    void refuse(Connection& connection, Poco::Net::HTTPResponse::HTTPStatus status, Clock::time_point now);
    void beginClosing(Connection& connection, Clock::time_point now);
    void close(Connection& connection);
    void expire(Clock::time_point now);
    void takeReturned(Clock::time_point now);
    void resumeAccepting(Clock::time_point now);
    void pauseAccepting(std::optional<Clock::time_point> until);
    void watch(Connection& connection);
    void unwatch(Connection& connection);
    void closeAll();

    // The workers.
    void work();
    void serve(Connection& connection);
    bool awaitNextRequest(Connection& connection);
    void clearWanted();
    static void setBlocking(Connection& connection, bool blocking);
    /// The size of the request's body.
    std::size_t answer(Connection& connection, Poco::Net::HTTPServerSession& session);

    Poco::Net::HTTPRequestHandlerFactory::Ptr _factory;
    Poco::ThreadPool& _pool;
    Poco::Net::ServerSocket _listener;
    const Poco::Net::SocketAddress _address;
    const Settings _settings;
    Poco::Net::HTTPServerParams::Ptr _params;
    Poco::Logger& _logger;

    // Touched by the waiting thread only.
    Poco::Net::PollSet _pollSet;
    WakeUpSocket _wakeUp;
    ConnectionTable _table;
    std::unordered_map<int, ConnectionPtr> _connections;
    bool _accepting = false;
    std::optional<Clock::time_point> _resumeAccepting;
    bool _warnedDescriptors = false;

    // Shared with the workers.
    std::mutex _mutex;
    std::condition_variable _requests;
    std::deque<ConnectionPtr> _ready;
    std::vector<ConnectionPtr> _returned;
    std::atomic<bool> _stopping{false};
    // Requests received and not yet taken by a worker.
    std::atomic<int> _waiting{0};
    // Workers waiting in _requests (under _mutex).
    int _idle = 0;
    // Workers waiting for a kept-alive client's next request.
    std::atomic<int> _lingering{0};
    // Readable while a queued request finds no idle worker, so that a
    // lingering one gives way; set and cleared under _mutex.
    WakeUpSocket _wanted;
    bool _wantedSet = false;
    std::atomic<std::size_t> _open{0};

    Poco::RunnableAdapter<HTTPServer> _waiter;
    Poco::RunnableAdapter<HTTPServer> _worker;
    Poco::Thread _thread;
    bool _started = false;
};

} // namespace pemo
