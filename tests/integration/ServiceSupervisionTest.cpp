// Supervision end to end: the system manager launches small real programs
// inside the simulated device, relaunches one that crashes, logs one that
// never signals and kills one that ignores SIGINT.
#include "SharedDevice.h"

#include <Poco/JSON/Parser.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

namespace pemo::test {
namespace {

// One "services[i]" entry running /usr/lib/pemo-test/NAME.
std::string scriptService(const std::string& name, int order, const std::string& extra)
{
    return R"({"name": ")" + name + R"(", "order": )" + std::to_string(order) +
           R"(, "executable": "/usr/lib/pemo-test/)" + name + R"(", "modes": {"default": {"enabled": true}})" + extra +
           "}";
}

class ServiceSupervisionTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        SimOptions options;
        options.overlays = {{{"usr/lib/pemo-test/crasher", "#!/bin/sh\nexit 3\n"},
                             {"usr/lib/pemo-test/mute", "#!/bin/sh\nexec sleep 600\n"},
                             {"usr/lib/pemo-test/stubborn", "#!/bin/sh\ntrap '' INT\n"
                                                            "/run/pemo-sim-build/bin/pemo-signal-startup $$\n"
                                                            "while :; do sleep 0.1; done\n"}}};
        options.config = [](Poco::JSON::Object& config) {
            const std::string services =
                "[" + scriptService("crasher", 1, R"(, "startup_timeout": 300, "crash_code": "TEST_CRASH")") + "," +
                scriptService("mute", 2, R"(, "startup_timeout": 300)") + "," +
                scriptService("stubborn", 3, R"(, "shutdown_timeout": 500)") + "]";
            config.getObject("SystemManager")->getObject("service")->set("services", Poco::JSON::Parser().parse(services));
            // The overall state changes are logged at debug.
            config.getObject("logging")->getObject("loggers")->getObject("system")->set("level", "debug");
        };
        device = std::make_unique<SimDevice>(options);
        device->start();
        // The last to start; once it has signalled, every service has been launched at least once.
        eventually([] { return !logLines(*device, "Got startup event from stubborn").empty(); },
                   std::chrono::seconds(20));
    }
    static void TearDownTestSuite()
    {
        EXPECT_EQ(device->stop(), 0);
        device.reset();
    }

    static std::string systemLog() { return device->readStateFile("log/system-manager.log"); }
    static ApiClient api() { return ApiClient(device->port(), device->token()); }

    static std::unique_ptr<SimDevice> device;
};
std::unique_ptr<SimDevice> ServiceSupervisionTest::device;

TEST_F(ServiceSupervisionTest, CrashingServiceIsLoggedAndRelaunchedAndTheStateIsRecovery)
{
    ASSERT_TRUE(eventually([] { return occurrences(systemLog(), "Launching service crasher") >= 3; }));
    const std::string log = systemLog();
    EXPECT_NE(log.find("Service crasher exited with code 3"), std::string::npos);
    EXPECT_NE(log.find("ServiceManager state change: RECOVERY"), std::string::npos);
    EXPECT_NE(log.find("ErrorTracker::post TEST_CRASH"), std::string::npos) << "the crash code is reported";
    EXPECT_EQ(log.find("ServiceManager state change: READY"), std::string::npos);
}

TEST_F(ServiceSupervisionTest, ServiceThatNeverSignalsIsLoggedButKeptRunning)
{
    EXPECT_NE(systemLog().find("Service mute failed to signal startup event during launch window"), std::string::npos);
    EXPECT_EQ(occurrences(systemLog(), "Launching service mute"), 1u);
}
TEST_F(ServiceSupervisionTest, StopKillsAServiceIgnoringSigintAndItStaysStoppedUntilStarted)
{
    const auto before = std::chrono::steady_clock::now();
    const HttpResponse stop = api().post("/service/stop", R"({"services": ["stubborn"]})");
    EXPECT_EQ(stop.status, 204);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(500));
    EXPECT_NE(systemLog().find("Service stubborn failed to terminate within 500ms; forcibly terminating."),
              std::string::npos);

    const std::string stopped = R"({
            "name": "stubborn",
            "enabled": false,
            "running": false
        })";
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    EXPECT_NE(api().get("/service/list").body.find(stopped), std::string::npos) << "not relaunched";

    EXPECT_EQ(api().post("/service/start", R"({"services": ["stubborn"]})").status, 204);
    EXPECT_TRUE(eventually([] {
        return api().get("/service/list").body.find(R"("name": "stubborn",
            "enabled": true,
            "running": true)") != std::string::npos;
    }));
}

TEST_F(ServiceSupervisionTest, ServiceEndpointsAnswerErrorsInTheReasonPhrase)
{
    struct Case
    {
        std::string path;
        std::string body;
        int status;
        std::string reason;
    };
    const std::vector<Case> cases{
        {"/service/start", R"({"services": ["nope"]})", 400, R"(Failed to start services: No service found: "nope")"},
        {"/service/stop", R"({"services": ["nope"]})", 400, R"(Failed to stop services: No service found: "nope")"},
        {"/service/restart", R"({"services": ["nope"]})", 400, R"(Failed to stop services: No service found: "nope")"},
        {"/service/restart", R"({"services": []})", 204, "No Content"},
    };
    for (const auto& c : cases)
    {
        const HttpResponse r = api().post(c.path, c.body);
        EXPECT_EQ(r.status, c.status) << c.path << " " << c.body;
        EXPECT_EQ(r.reason, c.reason) << c.path << " " << c.body;
        EXPECT_TRUE(r.body.empty());
    }
}

} // namespace
} // namespace pemo::test
