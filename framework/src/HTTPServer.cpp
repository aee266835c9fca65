#include "HTTPServer.h"

#include "ConnectionRequest.h"
#include "ConnectionResponse.h"

#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/StreamSocketImpl.h>
#include <Poco/Timestamp.h>

#include <cerrno>
#include <cstring>
#include <sstream>

#include <malloc.h>
#include <poll.h>
#include <sys/socket.h>

namespace pemo {

using Poco::Net::HTTPResponse;
using Poco::Net::PollSet;

struct HTTPServer::Connection
{
    Connection(int descriptor, const Poco::Net::SocketAddress& client, const RequestFramer::Limits& limits)
        : id(descriptor), socket(new Poco::Net::StreamSocketImpl(descriptor)), peer(client), framer(limits)
    {
    }

    const int id;
    Poco::Net::StreamSocket socket;
    const Poco::Net::SocketAddress peer;
    RequestFramer framer;
    bool watched = false;
    bool blocking = false;
    // What the worker found; read by the waiting thread once it is back.
    bool keepAlive = false;
    bool upgraded = false;
};

namespace {

// Accepting is never the bottleneck, but one burst must not keep the
// waiting thread from the connections it has.
const int ACCEPT_BATCH = 64;
// How long accepting rests when the process is out of descriptors.
const auto DESCRIPTOR_PAUSE = std::chrono::milliseconds(100);
// With nothing to time, the waiting thread sleeps in the kernel; this only
// bounds that sleep.
const Poco::Timespan IDLE_WAIT(3600, 0);
const std::size_t READ_SIZE = 16384;

// A head of our own (100 Continue, or a refusal with no body) written from
// the waiting thread, which must not block: such a head always fits in a
// socket's empty send buffer, and when it does not, the connection closes
// anyway.
void sendHead(Poco::Net::StreamSocket& socket, HTTPResponse::HTTPStatus status)
{
    HTTPResponse head(Poco::Net::HTTPMessage::HTTP_1_1, status);
    if (status != HTTPResponse::HTTP_CONTINUE)
    {
        head.setContentLength(0);
        head.setKeepAlive(false);
    }
    std::ostringstream out;
    head.write(out);
    const std::string bytes = out.str();
    try
    {
        socket.sendBytes(bytes.data(), static_cast<int>(bytes.size()));
    }
    catch (const Poco::Exception&)
    {
        // The client is gone or reads nothing: it closes either way.
    }
}

// Bodies from this size up are rare enough that giving memory back after
// each costs nothing that shows.
const std::size_t LARGE_BODY = 64 * 1024;

// A large body grows the heap, and glibc keeps what is freed inside a heap
// resident for good. On the robot's board that memory is worth more than
// the fraction of a millisecond it takes to hand it back.
void releaseFreedMemory()
{
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

} // namespace

HTTPServer::HTTPServer(Poco::Net::HTTPRequestHandlerFactory::Ptr factory, Poco::ThreadPool& pool,
                       const Poco::Net::ServerSocket& socket, const Settings& settings)
    : _factory(std::move(factory)), _pool(pool), _listener(socket), _address(socket.address()), _settings(settings),
      _params(new Poco::Net::HTTPServerParams), _logger(Poco::Logger::get("pemo.HTTPServer")),
      _table(settings.connections), _waiter(*this, &HTTPServer::run), _worker(*this, &HTTPServer::work),
      _thread("http.poll")
{
    _params->setKeepAlive(true);
    _params->setTimeout(settings.sendTimeout);
    _listener.setBlocking(false);
}

HTTPServer::~HTTPServer()
{
    stopAll(true);
}

void HTTPServer::start()
{
    _pollSet.add(_wakeUp.reader(), PollSet::POLL_READ);
    _pollSet.add(_listener, PollSet::POLL_READ);
    _accepting = true;
    for (int i = 0; i < _settings.workers; ++i)
        _pool.start(_worker, "http.worker");
    _thread.start(_waiter);
    _started = true;
}

void HTTPServer::stopAll(bool)
{
    if (_stopping.exchange(true))
        return;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _requests.notify_all();
        // Workers waiting for a kept-alive client's next request stop too.
        _wantedSet = true;
        _wanted.wake();
    }
    _wakeUp.wake();
    if (_started)
        _thread.join();
}

std::size_t HTTPServer::connections() const
{
    return _open;
}

// ---- The waiting thread ---------------------------------------------------

void HTTPServer::run()
{
    while (!_stopping)
    {
        try
        {
            waitOnce();
        }
        catch (const std::exception& e)
        {
            // Whatever went wrong was about one connection; the others, and
            // every connection to come, still need this thread.
            _logger.error(std::string("HTTP server on ") + _address.toString() + ": " + e.what() +
                          "; serving on");
        }
    }
    closeAll();
}

void HTTPServer::waitOnce()
{
    const PollSet::SocketModeMap events = _pollSet.poll(waitTime(Clock::now()));
    const auto now = Clock::now();
    for (const auto& [socket, mode] : events)
    {
        if (socket == _wakeUp.reader())
            _wakeUp.drain();
        else if (socket == _listener)
            acceptAll(now);
        else
            receive(socket.impl()->sockfd(), now);
    }
    takeReturned(now);
    expire(now);
    resumeAccepting(now);
}

Poco::Timespan HTTPServer::waitTime(Clock::time_point now) const
{
    std::optional<Clock::time_point> next = _table.nextDeadline();
    if (_resumeAccepting && (!next || *_resumeAccepting < *next))
        next = _resumeAccepting;
    if (!next)
        return IDLE_WAIT;
    // Rounded up, so the thread wakes after the deadline, not just before.
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(*next - now);
    return Poco::Timespan(std::max<Poco::Timespan::TimeDiff>(0, wait.count()) * 1000);
}

void HTTPServer::acceptAll(Clock::time_point now)
{
    for (int i = 0; i < ACCEPT_BATCH; ++i)
    {
        if (_table.full())
        {
            const auto victim = _table.victim();
            if (!victim)
                return pauseAccepting(std::nullopt);
            close(*_connections.at(*victim));
        }
        sockaddr_storage address{};
        socklen_t length = sizeof address;
        const int descriptor =
            ::accept4(_listener.impl()->sockfd(), reinterpret_cast<sockaddr*>(&address), &length, SOCK_CLOEXEC);
        if (descriptor < 0)
        {
            if (acceptFailed(errno, now))
                continue;
            return;
        }
        _warnedDescriptors = false;
        admit(descriptor, Poco::Net::SocketAddress(reinterpret_cast<sockaddr*>(&address), length), now);
    }
}

// True when accepting may go on at once.
bool HTTPServer::acceptFailed(int error, Clock::time_point now)
{
    switch (error)
    {
    case EINTR:
    case ECONNABORTED:
        return true;
    case EAGAIN:
        return false;
    case EMFILE:
    case ENFILE:
    case ENOBUFS:
    case ENOMEM:
        break;
    default:
        _logger.error("Cannot accept a connection on " + _address.toString() + ": " + std::strerror(error) +
                      "; accepting again in 100 ms");
        pauseAccepting(now + DESCRIPTOR_PAUSE);
        return false;
    }
    // Out of descriptors: the connection idle longest gives its own up, and
    // accepting rests a moment instead of spinning on the same error.
    if (!_warnedDescriptors)
        _logger.warning("Cannot accept a connection on " + _address.toString() + ": " + std::strerror(error) +
                        "; closing the connection idle longest and accepting again in 100 ms");
    _warnedDescriptors = true;
    if (const auto victim = _table.victim())
        close(*_connections.at(*victim));
    pauseAccepting(now + DESCRIPTOR_PAUSE);
    return false;
}

void HTTPServer::admit(int descriptor, const Poco::Net::SocketAddress& peer, Clock::time_point now)
{
    auto connection = std::make_shared<Connection>(descriptor, peer, _settings.request);
    try
    {
        connection->socket.setBlocking(false);
        connection->socket.setNoDelay(true);
        // Only ever felt by a worker's write: the waiting thread's sockets
        // do not block.
        connection->socket.setSendTimeout(_settings.sendTimeout);
    }
    catch (const Poco::Exception& e)
    {
        _logger.debug("Dropped a connection from " + peer.toString() + ": " + e.displayText());
        return;
    }
    _connections.emplace(descriptor, connection);
    _table.opened(descriptor, now);
    watch(*connection);
    ++_open;
}

void HTTPServer::receive(int descriptor, Clock::time_point now)
{
    const auto it = _connections.find(descriptor);
    if (it == _connections.end() || !it->second->watched)
        return;
    const ConnectionPtr connection = it->second;
    char buffer[READ_SIZE];
    int received = 0;
    try
    {
        received = connection->socket.receiveBytes(buffer, sizeof buffer);
    }
    catch (const Poco::Exception&)
    {
        received = 0;
    }
    if (received < 0)
        return;
    if (received == 0)
        return close(*connection);
    if (_table.phase(descriptor) == ConnectionTable::Phase::Closing)
        return;
    advance(connection, connection->framer.feed(buffer, static_cast<std::size_t>(received)), now);
}

void HTTPServer::advance(const ConnectionPtr& connection, RequestFramer::State state, Clock::time_point now)
{
    const int id = connection->id;
    switch (state)
    {
    case RequestFramer::State::Head:
        if (connection->framer.started() && _table.phase(id) == ConnectionTable::Phase::Idle)
            _table.headStarted(id);
        break;
    case RequestFramer::State::Body:
        if (_table.phase(id) != ConnectionTable::Phase::Body)
            _table.bodyStarted(id, now);
        if (connection->framer.takeContinue())
            sendHead(connection->socket, HTTPResponse::HTTP_CONTINUE);
        break;
    case RequestFramer::State::Complete:
    {
        unwatch(*connection);
        _table.serving(id);
        std::lock_guard<std::mutex> lock(_mutex);
        _ready.push_back(connection);
        ++_waiting;
        _requests.notify_one();
        // With no worker free, one waiting for a kept-alive client's next
        // request gives way.
        if (_ready.size() > static_cast<std::size_t>(_idle) && _lingering > 0 && !_wantedSet)
        {
            _wantedSet = true;
            _wanted.wake();
        }
        break;
    }
    case RequestFramer::State::Refused:
        refuse(*connection, connection->framer.refusal(), now);
        break;
    }
}

void HTTPServer::refuse(Connection& connection, HTTPResponse::HTTPStatus status, Clock::time_point now)
{
    _logger.debug("Refused a request from " + connection.peer.toString() + " with " + std::to_string(status) +
                        "; closing the connection");
    sendHead(connection.socket, status);
    beginClosing(connection, now);
    if (status == HTTPResponse::HTTP_REQUEST_ENTITY_TOO_LARGE)
        releaseFreedMemory();
}

// The caller may still be sending; closing on unread data would reset the
// connection, and the caller could lose the answer with it. So the sending
// side shuts first and what arrives is dropped until the caller closes or
// the linger deadline passes.
void HTTPServer::beginClosing(Connection& connection, Clock::time_point now)
{
    try
    {
        setBlocking(connection, false);
        connection.socket.shutdownSend();
    }
    catch (const Poco::Exception&)
    {
        return close(connection);
    }
    _table.closing(connection.id, now);
    watch(connection);
}

void HTTPServer::close(Connection& connection)
{
    unwatch(connection);
    try
    {
        connection.socket.close();
    }
    catch (const Poco::Exception&)
    {
        // Closed already: nothing to give back.
    }
    _table.closed(connection.id);
    _connections.erase(connection.id);
    --_open;
}

void HTTPServer::expire(Clock::time_point now)
{
    for (const auto& expired : _table.expired(now))
    {
        Connection& connection = *_connections.at(expired.id);
        if (!expired.answer)
        {
            close(connection);
            continue;
        }
        _logger.debug("No whole request from " + connection.peer.toString() +
                            " in time; answering 408 and closing the connection");
        sendHead(connection.socket, HTTPResponse::HTTP_REQUEST_TIMEOUT);
        beginClosing(connection, now);
    }
}

void HTTPServer::takeReturned(Clock::time_point now)
{
    std::vector<ConnectionPtr> returned;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        returned.swap(_returned);
    }
    for (const ConnectionPtr& connection : returned)
    {
        if (connection->upgraded)
        {
            // The WebSocket holds the socket now; only the entry goes.
            _table.closed(connection->id);
            _connections.erase(connection->id);
            --_open;
        }
        else if (!connection->keepAlive)
            beginClosing(*connection, now);
        else
        {
            _table.answered(connection->id, now);
            setBlocking(*connection, false);
            watch(*connection);
            // A request the caller sent right behind the last one.
            advance(connection, connection->framer.restart(), now);
        }
    }
}

void HTTPServer::pauseAccepting(std::optional<Clock::time_point> until)
{
    if (_accepting)
        _pollSet.remove(_listener);
    _accepting = false;
    _resumeAccepting = until;
}

void HTTPServer::resumeAccepting(Clock::time_point now)
{
    if (_accepting || _stopping)
        return;
    const bool rested = _resumeAccepting && now >= *_resumeAccepting;
    const bool room = !_resumeAccepting && (!_table.full() || _table.victim());
    if (!rested && !room)
        return;
    _pollSet.add(_listener, PollSet::POLL_READ);
    _accepting = true;
    _resumeAccepting.reset();
}

void HTTPServer::watch(Connection& connection)
{
    if (!connection.watched)
        _pollSet.add(connection.socket, PollSet::POLL_READ);
    connection.watched = true;
}

void HTTPServer::unwatch(Connection& connection)
{
    if (connection.watched)
        _pollSet.remove(connection.socket);
    connection.watched = false;
}

// Connections at a worker are closed by the worker, once answered.
void HTTPServer::closeAll()
{
    std::vector<ConnectionPtr> waiting;
    for (const auto& [id, connection] : _connections)
        if (_table.phase(id) != ConnectionTable::Phase::Serving)
            waiting.push_back(connection);
    for (const ConnectionPtr& connection : waiting)
        close(*connection);
    pauseAccepting(std::nullopt);
}

// ---- The workers ----------------------------------------------------------

void HTTPServer::work()
{
    for (;;)
    {
        ConnectionPtr connection;
        {
            std::unique_lock<std::mutex> lock(_mutex);
            ++_idle;
            _requests.wait(lock, [this] { return _stopping || !_ready.empty(); });
            --_idle;
            // Requests already received are answered even while stopping.
            if (_ready.empty())
                return;
            connection = std::move(_ready.front());
            _ready.pop_front();
            --_waiting;
            if (_ready.empty())
                clearWanted();
        }
        do
            serve(*connection);
        while (awaitNextRequest(*connection));
        if (_stopping && !connection->upgraded)
        {
            connection->socket.close();
            continue;
        }
        {
            std::lock_guard<std::mutex> lock(_mutex);
            _returned.push_back(std::move(connection));
        }
        _wakeUp.wake();
    }
}

// A kept-alive client usually sends its next request as soon as it has read
// the answer. Waiting a moment for it here spares two hand-overs between
// threads for each request. The wait is bounded by the grace, and ends as
// soon as another request needs this worker, so no client holds a worker
// that anyone else wants. What came meanwhile stays framed for the waiting
// thread.
bool HTTPServer::awaitNextRequest(Connection& connection)
{
    if (!connection.keepAlive || connection.upgraded || _stopping)
        return false;
    RequestFramer::State state = connection.framer.restart();
    const auto deadline = Clock::now() + _settings.keepAliveGrace;
    ++_lingering;
    while (state == RequestFramer::State::Head || state == RequestFramer::State::Body)
    {
        const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - Clock::now());
        // Either this sees a request queued, or the waiting thread sees this
        // worker lingering and wakes it through _wanted (both atomics).
        if (left.count() <= 0 || _waiting > 0 || _stopping)
            break;
        pollfd ready[2] = {{connection.id, POLLIN, 0}, {_wanted.reader().impl()->sockfd(), POLLIN, 0}};
        const timespec wait{static_cast<time_t>(left.count() / 1000000000),
                            static_cast<long>(left.count() % 1000000000)};
        const int n = ::ppoll(ready, 2, &wait, nullptr);
        if (n < 0 && errno != EINTR)
            break;
        if (n <= 0 || ready[0].revents == 0)
            continue;
        char buffer[READ_SIZE];
        const ssize_t received = ::recv(connection.id, buffer, sizeof buffer, MSG_DONTWAIT);
        if (received <= 0)
        {
            // Closed, or failed: the waiting thread ends the connection.
            connection.keepAlive = received < 0 && (errno == EAGAIN || errno == EINTR);
            break;
        }
        state = connection.framer.feed(buffer, static_cast<std::size_t>(received));
    }
    --_lingering;
    return state == RequestFramer::State::Complete;
}

// Called with _mutex held once the queue is empty: the next request that
// finds no worker free sets _wanted again.
void HTTPServer::clearWanted()
{
    if (!_wantedSet)
        return;
    _wantedSet = false;
    _wanted.drain();
}

void HTTPServer::setBlocking(Connection& connection, bool blocking)
{
    if (connection.blocking != blocking)
        connection.socket.setBlocking(blocking);
    connection.blocking = blocking;
}

void HTTPServer::serve(Connection& connection)
{
    connection.keepAlive = false;
    try
    {
        setBlocking(connection, true);
        Poco::Net::HTTPServerSession session(connection.socket, _params);
        std::size_t bodySize = 0;
        try
        {
            bodySize = answer(connection, session);
        }
        catch (...)
        {
            connection.keepAlive = false;
        }
        // Once the request and its body are gone.
        if (bodySize >= LARGE_BODY)
            releaseFreedMemory();
        // The session would close the socket it is destroyed with.
        session.detachSocket();
    }
    catch (const Poco::Exception& e)
    {
        _logger.debug("Could not answer " + connection.peer.toString() + ": " + e.displayText());
        connection.keepAlive = false;
    }
}

std::size_t HTTPServer::answer(Connection& connection, Poco::Net::HTTPServerSession& session)
{
    ConnectionResponse response(session, connection.framer.request().getMethod());
    std::string body = connection.framer.takeBody();
    const std::size_t bodySize = body.size();
    ConnectionRequest request(connection.framer.request(), std::move(body), connection.peer, _address, _params,
                              response, connection.socket, session);
    response.setDate(Poco::Timestamp());
    response.setVersion(request.getVersion());
    response.setKeepAlive(request.getKeepAlive() && !_stopping);
    std::unique_ptr<Poco::Net::HTTPRequestHandler> handler(_factory->createRequestHandler(request));
    if (handler)
        handler->handleRequest(request, response);
    if (!response.sent())
    {
        response.setStatusAndReason(handler ? HTTPResponse::HTTP_INTERNAL_SERVER_ERROR : HTTPResponse::HTTP_NOT_FOUND);
        response.setContentLength(0);
        response.send().flush();
    }
    connection.upgraded = request.upgraded();
    connection.keepAlive = !connection.upgraded && response.getKeepAlive();
    return bodySize;
}

} // namespace pemo
