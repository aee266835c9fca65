#pragma once

#include <Poco/Timespan.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace pemo {

/// Feeds a watchdog only while the service proves itself alive: on a thread
/// of its own, every interval, it runs the check and pings when, and only
/// when, the check passed. A check that fails or hangs withholds the ping,
/// so whoever watches the pings (systemd) restarts the service.
class HealthWatchdog
{
public:
    /// True when the service is healthy; should bound its own time.
    using Check = std::function<bool()>;
    using Ping = std::function<void()>;

    /// Checks first at start(), then every interval.
    HealthWatchdog(Check check, Ping ping, Poco::Timespan interval);

    /// Stops the thread (see stop()).
    ~HealthWatchdog();

    HealthWatchdog(const HealthWatchdog&) = delete;
    HealthWatchdog& operator=(const HealthWatchdog&) = delete;

    void start();

    /// Waits for a check under way to end; no ping follows. Idempotent.
    void stop();

private:
    void run();
    void checkOnce();

    Check _check;
    Ping _ping;
    Poco::Timespan _interval;
    std::mutex _mutex;
    std::condition_variable _wake;
    bool _stopping = false;
    bool _failing = false;
    std::thread _thread;
};

} // namespace pemo
