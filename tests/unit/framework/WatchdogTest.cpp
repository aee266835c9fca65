#include "FrameworkTestSupport.h"

#include <pemo/HealthSelfCheck.h>
#include <pemo/HealthWatchdog.h>

#include <Poco/Net/ServerSocket.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

namespace {

using namespace std::chrono_literals;
using pemo::HealthSelfCheck;
using pemo::HealthWatchdog;
using pemo::test::eventually;

// The rule that makes systemd restart a hung service: no ping unless the
// check passed just before. Each phase waits many intervals, so a ping sent
// regardless of the check, or one check's answer reused, shows.
TEST(HealthWatchdogTest, PingsOnlyWhileTheCheckPasses)
{
    std::atomic<bool> healthy{false};
    std::atomic<int> checks{0};
    std::atomic<int> pings{0};
    HealthWatchdog watchdog(
        [&] {
            ++checks;
            return healthy.load();
        },
        [&] { ++pings; }, Poco::Timespan(10 * 1000));
    watchdog.start();

    ASSERT_TRUE(eventually([&] { return checks >= 10; }));
    EXPECT_EQ(pings, 0);

    healthy = true;
    ASSERT_TRUE(eventually([&] { return pings >= 5; }));

    healthy = false;
    const int settled = checks + 1;
    ASSERT_TRUE(eventually([&] { return checks >= settled + 10; }));
    const int withheld = pings;
    ASSERT_TRUE(eventually([&] { return checks >= settled + 20; }));
    EXPECT_EQ(pings, withheld);

    healthy = true;
    ASSERT_TRUE(eventually([&] { return pings >= withheld + 3; }));
    watchdog.stop();
    const int stopped = pings;
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(pings, stopped);
}

// A check that passes only after stop() has been asked for must not ping a
// service that is already going down.
TEST(HealthWatchdogTest, StopWaitsForTheCheckUnderWayAndPingsNoMore)
{
    std::promise<void> entered;
    std::promise<void> release;
    auto released = release.get_future().share();
    std::atomic<int> pings{0};
    HealthWatchdog watchdog(
        [&] {
            entered.set_value();
            released.wait();
            return true;
        },
        [&] { ++pings; }, Poco::Timespan(60, 0));
    watchdog.start();
    entered.get_future().wait();
    auto stopping = std::async(std::launch::async, [&] { watchdog.stop(); });
    EXPECT_EQ(stopping.wait_for(50ms), std::future_status::timeout);
    release.set_value();
    stopping.get();
    EXPECT_EQ(pings, 0);
}

/// Holds every worker of the service it is routed in until released.
class BlockingHandler : public pemo::HTTPRequestHandler
{
public:
    bool allows(const pemo::Permissions&) const override { return true; }

    void get(Request&, Response& response, const Captures&, SessionPtr) override
    {
        std::unique_lock<std::mutex> lock(_mutex);
        ++_held;
        _changed.notify_all();
        _changed.wait(lock, [this] { return _released; });
        response.setContentLength(0);
        response.send();
    }

    void waitHeld()
    {
        std::unique_lock<std::mutex> lock(_mutex);
        _changed.wait(lock, [this] { return _held > 0; });
    }

    void release()
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _released = true;
        _changed.notify_all();
    }

private:
    std::mutex _mutex;
    std::condition_variable _changed;
    int _held = 0;
    bool _released = false;
};

// The self-check goes the way every caller goes: it passes against a
// serving service, on its wildcard address too, and fails in time when the
// only worker is held (a hung handler or pool) and when nothing listens.
TEST(HealthSelfCheckTest, PassesOnlyWhenTheServiceAnswersInTime)
{
    BlockingHandler blocking;
    pemo::test::TestService service([&](pemo::test::TestService& s) { s.registerHandler("^/block$", &blocking); },
                                    {{"pemo.http.threads", "1"}, {"pemo.http.host", "0.0.0.0"}});
    service.startAll();
    const Poco::Timespan limit(300 * 1000);
    EXPECT_TRUE(HealthSelfCheck("127.0.0.1", service.port(), limit)());
    EXPECT_TRUE(HealthSelfCheck("0.0.0.0", service.port(), limit)());

    auto held = std::async(std::launch::async, [&] { return pemo::test::request(service.port(), "GET", "/block"); });
    blocking.waitHeld();
    const auto started = std::chrono::steady_clock::now();
    EXPECT_FALSE(HealthSelfCheck("127.0.0.1", service.port(), limit)());
    EXPECT_LT(std::chrono::steady_clock::now() - started, 3s);
    blocking.release();
    EXPECT_EQ(held.get().status, 200);
    EXPECT_TRUE(eventually([&] { return HealthSelfCheck("127.0.0.1", service.port(), limit)(); }));

    Poco::Net::ServerSocket probe(0);
    const auto silent = probe.address().port();
    probe.close();
    EXPECT_FALSE(HealthSelfCheck("127.0.0.1", silent, limit)());
}

} // namespace
