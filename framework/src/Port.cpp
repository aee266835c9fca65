#include "pemo/Port.h"

#include "PortSubscriber.h"

#include <Poco/Exception.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <poll.h>
#include <thread>
#include <vector>

namespace pemo {

namespace {

constexpr std::chrono::milliseconds BLOCKED_RETRY(5);
// How long a close waits for the frames already queued to go out: as long
// as one send may take before its subscriber is given up.
constexpr std::chrono::seconds FLUSH_LIMIT(2);

} // namespace

/// Owns the subscribers and the one sender thread that writes their queued
/// frames, so a broadcast only ever costs a copy per subscriber.
class Port::Impl
{
public:
    Impl(Poco::Net::SocketReactor& reactor, std::size_t maxFrameSize)
        : _reactor(reactor), _maxFrameSize(maxFrameSize), _closed(false), _sender([this] { sendLoop(); })
    {
    }

    ~Impl()
    {
        close();
        {
            std::lock_guard<std::mutex> lock(_mutex);
            _stopping = true;
        }
        _wake.notify_all();
        _sender.join();
    }

    void subscribe(const Poco::Net::WebSocket& socket)
    {
        auto subscriber = std::make_shared<PortSubscriber>(socket, _reactor, _maxFrameSize,
                                                           [this](PortSubscriber& s) { onDrop(s); });
        std::lock_guard<std::mutex> lock(_mutex);
        if (_closed)
            throw Poco::IllegalStateException("port is closed");
        _subscribers.push_back(subscriber);
        subscriber->attach();
    }

    std::size_t broadcast(const void* buffer, int length, int flags)
    {
        if (length < 0 || static_cast<std::size_t>(length) > _maxFrameSize)
            throw Poco::InvalidArgumentException("frame of " + std::to_string(length) + " bytes exceeds the port's " +
                                                 std::to_string(_maxFrameSize));
        const PortSubscriber::Frame frame{std::string(static_cast<const char*>(buffer), length), flags};
        std::size_t queued = 0;
        {
            std::lock_guard<std::mutex> lock(_mutex);
            for (auto& subscriber : _subscribers)
                queued += subscriber->enqueue(frame) ? 1 : 0;
        }
        _wake.notify_one();
        return queued;
    }

    std::size_t count() const
    {
        std::lock_guard<std::mutex> lock(_mutex);
        std::size_t alive = 0;
        for (const auto& subscriber : _subscribers)
            alive += subscriber->dead() ? 0 : 1;
        return alive;
    }

    std::size_t maxFrameSize() const { return _maxFrameSize; }

    // What was broadcast before the close still reaches every subscriber
    // that takes it in time: a service's last words are often the ones its
    // subscribers most need.
    void close()
    {
        std::vector<std::shared_ptr<PortSubscriber>> subscribers;
        {
            std::unique_lock<std::mutex> lock(_mutex);
            _closed = true;
            _drained.wait_for(lock, FLUSH_LIMIT, [this] { return _stopping || (!_sending && !hasWork()); });
            subscribers.swap(_subscribers);
            _graveyard.clear();
        }
        for (auto& subscriber : subscribers)
            subscriber->detach();
    }

private:
    // Runs on the reactor thread, inside the subscriber's own callback, so
    // the subscriber is parked in the graveyard instead of destroyed here.
    void onDrop(PortSubscriber& dropped)
    {
        std::lock_guard<std::mutex> lock(_mutex);
        for (auto it = _subscribers.begin(); it != _subscribers.end(); ++it)
        {
            if (it->get() != &dropped)
                continue;
            _graveyard.push_back(*it);
            _subscribers.erase(it);
            break;
        }
        dropped.detach();
    }

    // One frame per subscriber per round, so a subscriber with a long queue
    // cannot starve the others, and only to sockets that can take it now,
    // so a stalled reader holds up nobody: it only fills its own queue until
    // it is cut off.
    void sendLoop()
    {
        std::unique_lock<std::mutex> lock(_mutex);
        for (;;)
        {
            _wake.wait(lock, [this] { return _stopping || hasWork(); });
            if (_stopping)
                return;
            _graveyard.clear();
            _sending = true;
            const bool sent = sendRound(lock);
            _sending = false;
            _drained.notify_all();
            if (!sent)
                _wake.wait_for(lock, BLOCKED_RETRY);
        }
    }

    // One poll call per round over the subscribers that have frames: a
    // poll per subscriber per frame would make and destroy an epoll
    // instance each time. The round's subscribers stay alive while the
    // lock is released, even when they are dropped meanwhile.
    bool sendRound(std::unique_lock<std::mutex>& lock)
    {
        _round.clear();
        _pollSet.clear();
        for (const auto& subscriber : _subscribers)
        {
            if (!subscriber->hasFrames())
                continue;
            _round.push_back(subscriber);
            _pollSet.push_back(pollfd{subscriber->descriptor(), POLLOUT, 0});
        }
        lock.unlock();
        const int ready = ::poll(_pollSet.data(), _pollSet.size(), 0);
        lock.lock();
        bool sent = false;
        for (std::size_t i = 0; ready > 0 && i < _round.size(); ++i)
        {
            PortSubscriber::Frame frame;
            if (_pollSet[i].revents == 0 || !_round[i]->takeFrame(frame))
                continue;
            lock.unlock();
            _round[i]->send(frame);
            lock.lock();
            sent = true;
        }
        _round.clear();
        return sent;
    }

    bool hasWork() const
    {
        for (const auto& subscriber : _subscribers)
            if (subscriber->hasFrames())
                return true;
        return false;
    }

    Poco::Net::SocketReactor& _reactor;
    const std::size_t _maxFrameSize;
    mutable std::mutex _mutex;
    std::condition_variable _wake;
    // Signalled after every round of sends, for a close waiting to flush.
    std::condition_variable _drained;
    std::vector<std::shared_ptr<PortSubscriber>> _subscribers;
    std::vector<std::shared_ptr<PortSubscriber>> _graveyard;
    // The sender's working set for one round, kept to reuse its storage.
    std::vector<std::shared_ptr<PortSubscriber>> _round;
    std::vector<pollfd> _pollSet;
    bool _closed;
    bool _stopping = false;
    bool _sending = false;
    std::thread _sender;
};

Port::Port(Poco::Net::SocketReactor& reactor, std::size_t maxFrameSize)
    : _impl(std::make_unique<Impl>(reactor, maxFrameSize))
{
}

Port::~Port() = default;

void Port::subscribe(const Poco::Net::WebSocket& socket)
{
    _impl->subscribe(socket);
}

std::size_t Port::broadcastFrame(const void* buffer, int length, int flags)
{
    return _impl->broadcast(buffer, length, flags);
}

std::size_t Port::broadcastFrame(const std::string& frame, int flags)
{
    return _impl->broadcast(frame.data(), static_cast<int>(frame.size()), flags);
}

std::size_t Port::sendFrame(const void* buffer, int length, int flags)
{
    return _impl->broadcast(buffer, length, flags);
}

std::size_t Port::subscriberCount() const
{
    return _impl->count();
}

std::size_t Port::maxFrameSize() const
{
    return _impl->maxFrameSize();
}

void Port::close()
{
    _impl->close();
}

} // namespace pemo
