#pragma once

#include <pemo/Port.h>

#include <Poco/AutoPtr.h>
#include <Poco/Logger.h>
#include <Poco/Notification.h>
#include <Poco/Runnable.h>
#include <Poco/Thread.h>
#include <Poco/TimedNotificationQueue.h>
#include <Poco/Timestamp.h>

#include <atomic>
#include <cstddef>
#include <string>

namespace pemo {
namespace system {

/// The hub of system notifications: queues the notifications that services
/// post and relays each, exactly as posted, as one text frame to every
/// subscriber of the system-notification port.
///
/// Publishing never waits for subscribers: notify() only queues, and the
/// notifier's own thread sends. The queue is bounded: a message is refused
/// once more than MAX_QUEUED are waiting.
class SystemNotifier
{
public:
    /// Above this many waiting notifications, notify() refuses.
    static const std::size_t MAX_QUEUED = 100;

    /// port receives every relayed notification; it must outlive the
    /// notifier. The notifier refuses everything until start().
    explicit SystemNotifier(pemo::Port& port);
    /// Stops the worker if it still runs.
    virtual ~SystemNotifier();

    SystemNotifier(const SystemNotifier&) = delete;
    SystemNotifier& operator=(const SystemNotifier&) = delete;

    /// Starts relaying on the notifier's own thread. Call once after
    /// construction or after stop().
    void start();
    /// Stops taking notifications, sends the ones already due, and joins
    /// the thread (within about a second). Notifications due later stay
    /// queued, unsent.
    void stop();

    /// Queues message to be sent now. False, with a warning logged, when the
    /// notifier is not started or the queue is full. Never throws.
    bool notify(const std::string& message);
    /// Queues message to be sent once when has passed; otherwise as above.
    bool notify(const std::string& message, Poco::Timestamp when);

    /// How many notifications wait to be sent.
    std::size_t queued() const;

private:
    class Worker : public Poco::Runnable
    {
    public:
        explicit Worker(SystemNotifier& owner);
        void run() override;

    private:
        void send(Poco::AutoPtr<Poco::Notification> notification);
        void send(const std::string& text);

        SystemNotifier& _owner;
    };

    void logEnqueued(const std::string& message);

    Poco::Logger& _logger;
    pemo::Port& _notifyPort;
    Poco::TimedNotificationQueue _queue;
    Poco::Thread _thread;
    std::atomic<bool> _shouldExit;
    Worker _worker;
};

} // namespace system
} // namespace pemo
