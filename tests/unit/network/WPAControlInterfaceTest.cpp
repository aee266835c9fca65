// The control client against a real wpa_supplicant (wired driver) in a
// private network namespace.
#include "network/WPAControlInterface.h"

#include "Eventually.h"
#include "PrivateSupplicant.h"

#include <pemo/ErrorTracker.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace pemo {
namespace system {
namespace {

using pemo::test::eventually;
using test::PrivateSupplicant;
using Clock = std::chrono::steady_clock;

const std::string DOWN("WPA_CONTROL_INTERFACE_DOWN");

class Recorder : public WPAControlInterface::Monitor
{
public:
    explicit Recorder(std::string name, std::vector<std::string>& log, std::mutex& mutex)
        : _name(std::move(name)), _log(log), _mutex(mutex)
    {
    }
    // Keeps the connection events' words only: the rest carries addresses
    // and ids, and the other events vary with the supplicant's version.
    void onMessage(const std::string& message) override
    {
        const std::string word = message.substr(0, message.find(' '));
        if (word != "<3>CTRL-EVENT-CONNECTED" && word != "<3>CTRL-EVENT-DISCONNECTED" &&
            word != "<3>CTRL-EVENT-TERMINATING")
            return;
        std::lock_guard<std::mutex> lock(_mutex);
        _log.push_back(_name + ":" + word);
        lastDelivery = Clock::now();
        if (!firstDelivery)
            firstDelivery = lastDelivery;
    }
    std::optional<Clock::time_point> firstDelivery;
    Clock::time_point lastDelivery;

private:
    std::string _name;
    std::vector<std::string>& _log;
    std::mutex& _mutex;
};

class WPAControlInterfaceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!PrivateSupplicant::available())
            GTEST_SKIP() << "needs root, unshare, ip and wpa_supplicant";
        params.runtime = supplicant.runtime();
        params.reconnect_interval = RECONNECT_MS;
        wpa = std::make_unique<WPAControlInterface>(params);
    }
    void TearDown() override
    {
        if (wpa)
            wpa->stop();
    }

    std::string ask(const std::string& command)
    {
        std::string reply;
        return wpa->request(command, reply) ? reply : "failed: " + reply;
    }
    bool answers() { return ask("PING") == "PONG\n"; }
    // Associated: a DISCONNECT before that has nothing to end and tells nothing.
    bool associated() { return ask("STATUS").find("wpa_state=COMPLETED") != std::string::npos; }
    std::vector<std::string> events()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return log;
    }

    bool seen(const std::string& event)
    {
        const auto all = events();
        return std::find(all.begin(), all.end(), event) != all.end();
    }

    static const unsigned RECONNECT_MS = 300;
    WPAControlInterface::Params params;
    PrivateSupplicant supplicant;
    std::unique_ptr<WPAControlInterface> wpa;
    std::vector<std::string> log;
    std::mutex mutex;
};

// Down, it is posted broken on every tick; the tick after the supplicant
// comes up (at start, or back after a kill) connects and marks it fixed.
TEST_F(WPAControlInterfaceTest, DownUntilSupplicantStartsAndAKillIsRiddenOutWithinReconnectInterval)
{
    const auto posted = ErrorTracker::get().count(DOWN);
    wpa->registerMonitor(std::make_shared<Recorder>("m", log, mutex));
    wpa->start();
    ASSERT_TRUE(eventually([&] { return ErrorTracker::get().count(DOWN) >= posted + 2; }, std::chrono::seconds(3)))
        << "posted again on every tick while down";
    EXPECT_EQ(ErrorTracker::Status::BROKEN, ErrorTracker::get().status(DOWN));
    EXPECT_EQ("failed: Not connected to wpa_supplicant", ask("STATUS"));

    supplicant.start();
    ASSERT_TRUE(eventually([&] { return wpa->connected(); }, std::chrono::milliseconds(RECONNECT_MS + 500)));
    EXPECT_EQ(ErrorTracker::Status::FIXED, ErrorTracker::get().status(DOWN));
    EXPECT_NE(std::string::npos, ask("STATUS").find("wpa_state="));

    // The kill is noticed by this request, or by a tick's PING just before it.
    supplicant.kill();
    const std::string afterKill = ask("PING");
    EXPECT_TRUE(afterKill == "failed: Error communicating with WPA Control Interface" ||
                afterKill == "failed: Not connected to wpa_supplicant")
        << afterKill;
    EXPECT_FALSE(wpa->connected()) << "a failed request or PING drops both connections";
    EXPECT_EQ("failed: Not connected to wpa_supplicant", ask("PING"));

    supplicant.start();
    const auto restarted = Clock::now();
    ASSERT_TRUE(eventually([&] { return answers(); }, std::chrono::seconds(2)));
    EXPECT_LT(Clock::now() - restarted, std::chrono::milliseconds(RECONNECT_MS + 200));
    ASSERT_TRUE(eventually([&] { return associated(); }, std::chrono::seconds(2)));
    // Events flow again on the new event connection.
    {
        std::lock_guard<std::mutex> lock(mutex);
        log.clear();
    }
    ASSERT_EQ("OK\n", ask("DISCONNECT"));
    EXPECT_TRUE(eventually([&] { return !events().empty(); }, std::chrono::seconds(3)));

    // A supplicant that stops cleanly says so last, and that word is still delivered.
    supplicant.kill(SIGTERM);
    const std::string terminating = "m:<3>CTRL-EVENT-TERMINATING";
    EXPECT_TRUE(eventually(
        [&] {
            const auto seen = events();
            return !seen.empty() && seen.back() == terminating;
        },
        std::chrono::seconds(3)));
}

TEST_F(WPAControlInterfaceTest, QueuedEventsReachMonitorsInOrderInOnePass)
{
    supplicant.start();
    const auto a = std::make_shared<Recorder>("a", log, mutex);
    const auto b = std::make_shared<Recorder>("b", log, mutex);
    wpa->registerMonitor(a);
    wpa->registerMonitor(b);
    wpa->registerMonitor(a);
    wpa->unregisterMonitor(a); // the first registration only: b, then a
    wpa->start();
    // The association at start-up may be reported too, or may come before
    // the attach: let one poll pass so that it is either delivered or lost.
    ASSERT_TRUE(eventually([&] { return associated(); }, std::chrono::seconds(3)));
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    {
        std::lock_guard<std::mutex> lock(mutex);
        log.clear();
        b->firstDelivery.reset();
    }

    // Both lines are queued within a few milliseconds, well inside one
    // poll interval.
    ASSERT_EQ("OK\n", ask("DISCONNECT"));
    ASSERT_EQ("OK\n", ask("RECONNECT"));
    ASSERT_TRUE(eventually([&] { return events().size() >= 4; }, std::chrono::seconds(3)));
    const std::vector<std::string> expected{"b:<3>CTRL-EVENT-DISCONNECTED", "a:<3>CTRL-EVENT-DISCONNECTED",
                                            "b:<3>CTRL-EVENT-CONNECTED", "a:<3>CTRL-EVENT-CONNECTED"};
    EXPECT_EQ(expected, events());
    std::lock_guard<std::mutex> lock(mutex);
    EXPECT_LT(b->lastDelivery - *b->firstDelivery, std::chrono::milliseconds(200)) << "one pass, not two";
}

TEST_F(WPAControlInterfaceTest, RequestThatTimesOutDropsBothConnections)
{
    supplicant.start();
    wpa->start();
    ASSERT_TRUE(eventually([&] { return wpa->connected(); }, std::chrono::seconds(1)));

    supplicant.freeze(true);
    EXPECT_EQ("failed: Timeout communicating with WPA Control Interface", ask("PING"));
    EXPECT_FALSE(wpa->connected()) << "both connections dropped";
    supplicant.freeze(false);
    EXPECT_TRUE(eventually([&] { return answers(); }, std::chrono::seconds(2))) << "the next tick reconnects";
}

// Restarted from outside (stopped cleanly or killed, then started again)
// with nobody calling request(), wpa_supplicant's events stayed on the dead
// socket for good, and DHCP was never renewed. A "CTRL-EVENT-TERMINATING"
// line, or a PING unanswered on a tick, now has both connections made anew.
TEST_F(WPAControlInterfaceTest, SupplicantRestartedFromOutsideIsReconnectedWithoutARequest)
{
    supplicant.start();
    wpa->registerMonitor(std::make_shared<Recorder>("m", log, mutex));
    wpa->start();
    ASSERT_TRUE(eventually([&] { return wpa->connected(); }, std::chrono::seconds(2)));
    for (const int signal : {SIGTERM, SIGKILL})
    {
        SCOPED_TRACE(signal == SIGTERM ? "stopped" : "killed");
        supplicant.kill(signal);
        supplicant.start();
        // Another client drives it: a request of this one's would reconnect it.
        WPAControlInterface other(params);
        other.start();
        std::string reply;
        ASSERT_TRUE(eventually([&] { return other.request("STATUS", reply) && reply.find("=COMPLETED") != std::string::npos; },
                               std::chrono::seconds(3)));
        {
            std::lock_guard<std::mutex> lock(mutex);
            log.clear(); // a supplicant stopping says it disconnects too
        }
        // Until this one is back, the events go unseen: disconnect again each round.
        const auto deadline = Clock::now() + std::chrono::milliseconds(3 * RECONNECT_MS + 2000);
        bool delivered = false;
        while (!delivered && Clock::now() < deadline)
        {
            other.request("DISCONNECT", reply);
            delivered = eventually([&] { return seen("m:<3>CTRL-EVENT-DISCONNECTED"); }, std::chrono::milliseconds(300));
            other.request("RECONNECT", reply);
        }
        EXPECT_TRUE(delivered);
        other.stop();
    }
}

// A monitor whose request failed dropped the event connection under the
// drain loop, which then asked the freed connection again.
TEST_F(WPAControlInterfaceTest, MonitorWhoseRequestDropsTheConnectionEndsTheDrain)
{
    // On the first disconnection it kills the supplicant, then asks it.
    struct Killer : WPAControlInterface::Monitor
    {
        std::function<void()> kill;
        std::atomic<bool> done{false};
        void onMessage(const std::string& message) override
        {
            if (!done && message.find("CTRL-EVENT-DISCONNECTED") != std::string::npos)
                kill(), done = true;
        }
    };
    supplicant.start();
    const auto killer = std::make_shared<Killer>();
    killer->kill = [&] { supplicant.kill(), ask("PING"); };
    wpa->registerMonitor(killer);
    wpa->start();
    ASSERT_TRUE(eventually([&] { return associated(); }, std::chrono::seconds(3)));
    ASSERT_EQ("OK\n", ask("DISCONNECT"));
    ASSERT_TRUE(eventually([&] { return killer->done.load(); }, std::chrono::seconds(3)));
    EXPECT_FALSE(wpa->connected());
    supplicant.start();
    EXPECT_TRUE(eventually([&] { return answers(); }, std::chrono::seconds(2))) << "the event thread lives on";
}

} // namespace
} // namespace system
} // namespace pemo
