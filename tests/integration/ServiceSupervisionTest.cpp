// Supervision end to end: the system manager launches small real programs
// inside the simulated device, relaunches one that crashes, logs one that
// never signals, kills one that ignores SIGINT, and fans session changes out
// to recording services, one of which never answers.
#include "ServiceFixtures.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace pemo::test {
namespace {

const std::string SIGNAL = DEVICE_BIN + "pemo-signal-startup $$";

class ServiceSupervisionTest : public SharedServiceDeviceTest
{
protected:
    static void SetUpTestSuite()
    {
        startShared({scriptService("crasher", 1, R"(, "startup_timeout": 300, "crash_code": "TEST_CRASH")"),
                     scriptService("mute", 2, R"(, "startup_timeout": 300)"),
                     scriptService("stubborn", 3, R"(, "shutdown_timeout": 500)"),
                     recorderService("pair", 4, 9101, {"pair-one", "pair-two"}),
                     recorderService("silent", 5, 9102, {"silent"}, true),
                     recorderService("solo", 6, 9103, {"solo"})},
                    {{"crasher", "exit 3"},
                     {"mute", "exec sleep 600"},
                     {"stubborn", "trap '' INT\n" + SIGNAL + "\nwhile :; do sleep 0.1; done"}},
                    1000);
        // The recorders are the last to start; once the last has registered,
        // every service has been launched at least once.
        eventually([] { return systemLog(*device).find("Got startup event from solo") != std::string::npos; },
                   std::chrono::seconds(20));
    }
};

TEST_F(ServiceSupervisionTest, CrashingServiceIsLoggedAndRelaunchedAndTheStateIsRecovery)
{
    ASSERT_TRUE(eventually([] { return occurrences(systemLog(*device), "Launching service crasher") >= 3; }));
    const std::string log = systemLog(*device);
    EXPECT_NE(log.find("Service crasher exited with code 3"), std::string::npos);
    EXPECT_NE(log.find("ServiceManager state change: RECOVERY"), std::string::npos);
    EXPECT_NE(log.find("ErrorTracker::post TEST_CRASH"), std::string::npos) << "the crash code is reported";
    EXPECT_EQ(log.find("ServiceManager state change: READY"), std::string::npos);
}

TEST_F(ServiceSupervisionTest, ServiceThatNeverSignalsIsLoggedButKeptRunning)
{
    EXPECT_NE(systemLog(*device).find("Service mute failed to signal startup event during launch window"),
              std::string::npos);
    EXPECT_EQ(occurrences(systemLog(*device), "Launching service mute"), 1);
}

TEST_F(ServiceSupervisionTest, StopKillsAServiceIgnoringSigintAndItStaysStoppedUntilStarted)
{
    const auto before = std::chrono::steady_clock::now();
    const HttpResponse stop = api().post("/service/stop", R"({"services": ["stubborn"]})");
    EXPECT_EQ(stop.status, 204);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(500));
    EXPECT_NE(systemLog(*device).find("Service stubborn failed to terminate within 500ms; forcibly terminating."),
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
        {"/service/start", "not json", 400, "Malformed arguments"},
        {"/service/start", R"({"services": "crasher"})", 400, "Malformed arguments"},
        {"/service/stop", R"({"names": []})", 400, "Malformed arguments"},
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

TEST_F(ServiceSupervisionTest, ServiceListShowsEveryServiceInStartOrder)
{
    const HttpResponse r = api().get("/service/list");
    ASSERT_EQ(r.status, 200);
    EXPECT_EQ(r.header("Content-Type"), "application/json");
    std::size_t at = 0;
    for (const std::string name : {"crasher", "mute", "stubborn", "pair", "silent", "solo"})
    {
        const auto found = r.body.find("\"name\": \"" + name + "\"", at);
        EXPECT_NE(found, std::string::npos) << name << " missing or out of order";
        at = found == std::string::npos ? at : found;
    }
}

// A silent service costs its own time-out only: the others are told, and the
// request for a new session is still answered with the session.
TEST_F(ServiceSupervisionTest, SessionChangeReachesEachAddressOnceDespiteASilentService)
{
    const HttpResponse created = api().get("/session/request");
    ASSERT_EQ(created.status, 200);
    const auto tokenAt = created.body.find("\"token\": \"") + 10;
    const std::string token = created.body.substr(tokenAt, created.body.find('"', tokenAt) - tokenAt);

    const auto pair = recordedRequests(*device, "pair");
    ASSERT_EQ(pair.size(), 1u) << "two services at one address get one request";
    EXPECT_EQ(pair[0].rfind("POST /_M_/session HTTP/1.1\r\n", 0), 0u);
    EXPECT_NE(pair[0].find("\r\nPemo-Authenticate: wexlor\r\n"), std::string::npos);
    EXPECT_NE(pair[0].find("\r\nContent-Type: application/json\r\n"), std::string::npos);
    EXPECT_EQ(bodyOf(pair[0]), "{\n    \"sessions\": [\n        {\n            \"token\": \"" + token +
                                   "\",\n            \"permissions\": {\n                \"recordVideo\": false,\n"
                                   "                \"recordAudio\": false,\n                \"takePhoto\": false,\n"
                                   "                \"firePhotonTorpedos\": false\n            }\n        }\n    ]\n}");
    EXPECT_EQ(recordedRequests(*device, "solo").size(), 1u);
    EXPECT_EQ(recordedRequests(*device, "silent").size(), 1u);
    EXPECT_NE(systemLog(*device).find("ServiceManager::createSession Error receiving response from 127.0.0.1:9102"),
              std::string::npos);

    const HttpResponse selected = api().post("/session/current", R"({"session": ")" + token + "\"}");
    EXPECT_EQ(selected.status, 500);
    EXPECT_EQ(selected.reason, "Failed to communicate to other services");
    EXPECT_EQ(recordedRequests(*device, "solo").size(), 2u);
}

} // namespace
} // namespace pemo::test
