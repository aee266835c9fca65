#include "pemo/HealthWatchdog.h"

#include <Poco/Logger.h>

#include <chrono>

namespace pemo {

HealthWatchdog::HealthWatchdog(Check check, Ping ping, Poco::Timespan interval)
    : _check(std::move(check)), _ping(std::move(ping)), _interval(interval)
{
}

HealthWatchdog::~HealthWatchdog()
{
    stop();
}

void HealthWatchdog::start()
{
    _thread = std::thread([this] { run(); });
}

void HealthWatchdog::stop()
{
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _stopping = true;
    }
    _wake.notify_all();
    if (_thread.joinable())
        _thread.join();
}

void HealthWatchdog::run()
{
    const std::chrono::microseconds interval(_interval.totalMicroseconds());
    std::unique_lock<std::mutex> lock(_mutex);
    while (!_stopping)
    {
        lock.unlock();
        checkOnce();
        lock.lock();
        _wake.wait_for(lock, interval, [this] { return _stopping; });
    }
}

// Logged when the state changes rather than at every interval: a service
// that stays unhealthy is restarted within one watchdog timeout anyway.
void HealthWatchdog::checkOnce()
{
    const bool healthy = _check();
    {
        std::lock_guard<std::mutex> lock(_mutex);
        if (_stopping)
            return;
    }
    auto& logger = Poco::Logger::get("HealthWatchdog");
    if (healthy)
    {
        if (_failing)
            logger.notice("Self-check passes again; pinging the watchdog");
        _failing = false;
        _ping();
        return;
    }
    if (!_failing)
        logger.error("Self-check failed; withholding the watchdog ping, so the service is restarted unless the "
                     "check passes again in time");
    _failing = true;
}

} // namespace pemo
