#include "Eventually.h"
#include "FakeServices.h"
#include "ScratchDir.h"

#include "service/ServiceManagerMonitor.h"

#include <pemo/ErrorTracker.h>

#include <Poco/NObserver.h>

#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <mutex>

namespace pemo {
namespace system {
namespace {

using Type = ServiceManagerNotification::Type;
using Monitor = ServiceManager::Monitor;

// Child programs are small shell scripts; "signal" stands for the start-up
// signal a service built on the framework sends once it is up.
class ServiceMonitorTest : public ::testing::Test
{
protected:
    std::string script(const std::string& name, const std::string& body)
    {
        return _dir.script(name, "echo $$ > " + _dir.file(name + ".pid") + "\n" + body);
    }

    int pidOf(const std::string& name) const { return std::atoi(_dir.read(name + ".pid").c_str()); }

    static std::string signal()
    {
        return std::string(PEMO_SIGNAL_STARTUP) + " $$";
    }

    ServiceManager::Bucket bucket(const std::string& name, const std::string& executable,
                                  const std::string& extra = "")
    {
        const std::string json = R"({"name": ")" + name + R"(", "executable": ")" + executable +
                                 R"(", "modes": {"default": {"enabled": true}})" + extra + "}";
        return {std::make_shared<ServiceManager::ServiceImpl>(pemo::test::jsonConfig(json).get()), nullptr};
    }

    void observe(Monitor& monitor)
    {
        monitor.notifier.addObserver(Poco::NObserver<ServiceMonitorTest, ServiceManagerNotification>(
            *this, &ServiceMonitorTest::onState));
    }

public:
    void onState(const Poco::AutoPtr<ServiceManagerNotification>& notification)
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _states.push_back(notification->type());
    }

protected:
    std::vector<Type> states()
    {
        std::lock_guard<std::mutex> lock(_mutex);
        return _states;
    }

    test::ScratchDir _dir;
    std::mutex _mutex;
    std::vector<Type> _states;
};

// A child that signals its start-up promptly would hide its own crash if it
// were relaunched in the pass that reaped it: the pass would end READY.
TEST_F(ServiceMonitorTest, ACrashIsPublishedAsRecoveryAndTheNextPassRelaunchesIt)
{
    const std::string crasher = script("crasher", signal() + "\nexit 3");
    Monitor monitor(ServiceManager::Params(), {bucket("crasher", crasher, R"(, "crash_code": "TEST_CRASH_3")")});
    observe(monitor);
    pemo::test::LogCapture log("SystemManager.Service.Monitor");
    const auto crashesBefore = pemo::ErrorTracker::get().count("TEST_CRASH_3");

    monitor.work();
    const int firstPid = pidOf("crasher");
    EXPECT_EQ(states(), (std::vector<Type>{ServiceManagerNotification::READY}));

    monitor.work();
    EXPECT_TRUE(log.contains("Service crasher exited with code 3"));
    EXPECT_TRUE(log.contains("ServiceManager state change: RECOVERY"));
    EXPECT_EQ(pemo::ErrorTracker::get().count("TEST_CRASH_3"), crashesBefore + 1);
    EXPECT_EQ(states(), (std::vector<Type>{ServiceManagerNotification::READY, ServiceManagerNotification::RECOVERY}));
    EXPECT_FALSE(monitor.getServices().front().running) << "not relaunched in the pass that reaped it";
    EXPECT_EQ(pidOf("crasher"), firstPid);

    monitor.work();
    EXPECT_NE(pidOf("crasher"), firstPid);
    EXPECT_EQ(states(), (std::vector<Type>{ServiceManagerNotification::READY, ServiceManagerNotification::RECOVERY,
                                           ServiceManagerNotification::READY}));
    monitor.stop("crasher");
}

TEST_F(ServiceMonitorTest, TwoPassesWithTheSameStatePostOneNotification)
{
    const std::string good = script("good", signal() + "\nexec sleep 30");
    Monitor monitor(ServiceManager::Params(), {bucket("good", good)});
    observe(monitor);

    monitor.work();
    monitor.work();
    EXPECT_EQ(states(), (std::vector<Type>{ServiceManagerNotification::READY}));
    monitor.stop("good");
}

TEST_F(ServiceMonitorTest, UnknownNamesAndNeverLaunchedServices)
{
    Monitor monitor(ServiceManager::Params(), {bucket("idle", "/bin/true")});
    try
    {
        monitor.start("nope");
        FAIL() << "expected ServiceManagerException";
    }
    catch (const ServiceManagerException& e)
    {
        EXPECT_STREQ(e.what(), "No service found: \"nope\"");
    }
    EXPECT_THROW(monitor.stop("nope"), ServiceManagerException);
    EXPECT_NO_THROW(monitor.stop("idle")) << "stopping what never ran is only logged";
}

// The shutdown path: SHUTDOWN is posted, the children are stopped last
// started first, and none is left behind.
TEST_F(ServiceMonitorTest, ManagerStopPublishesShutdownAndStopsInReverseStartOrder)
{
    const std::string first = script("first", signal() + "\nexec sleep 30");
    const std::string second = script("second", signal() + "\nexec sleep 30");
    pemo::ServiceRegistryClient registry;
    ServiceManager manager(pemo::test::jsonConfig(R"({"services": [
        {"name": "second", "order": 2, "executable": ")" + second + R"(", "modes": {"default": {"enabled": true}}},
        {"name": "first", "order": 1, "executable": ")" + first + R"(", "modes": {"default": {"enabled": true}}}
    ]})"), registry);
    manager.addObserver(Poco::NObserver<ServiceMonitorTest, ServiceManagerNotification>(
        *this, &ServiceMonitorTest::onState));
    pemo::test::LogCapture log("SystemManager.Service.Monitor");

    manager.start();
    pemo::test::eventually([&] { return !states().empty(); }, std::chrono::seconds(10));
    manager.stop();

    EXPECT_EQ(states(), (std::vector<Type>{ServiceManagerNotification::READY, ServiceManagerNotification::SHUTDOWN}));
    const auto messages = log.messages();
    const auto secondStop = std::find(messages.begin(), messages.end(), "Waiting for second to terminate");
    const auto firstStop = std::find(messages.begin(), messages.end(), "Waiting for first to terminate");
    ASSERT_NE(secondStop, messages.end());
    EXPECT_LT(secondStop, firstStop);
    EXPECT_EQ(::kill(pidOf("first"), 0), -1);
    EXPECT_EQ(::kill(pidOf("second"), 0), -1);
    for (const auto& service : manager.getServices())
        EXPECT_FALSE(service.running) << service.name;
}

} // namespace
} // namespace system
} // namespace pemo
