// Skills end to end: the catalogue scanned from real directories, launch
// under the mode's user with a session of its own, exit reporting, and
// termination, against the demo runtime's own account of each launch.
#include "SkillDevice.h"

#include <Poco/File.h>
#include <Poco/JSON/Array.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <future>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace pemo::test {
namespace {

const std::string PROBE_DIR = "/opt/pemo/Pemo/Skills/probe";

bool contains(const std::vector<std::string>& list, const std::string& item)
{
    return std::find(list.begin(), list.end(), item) != list.end();
}

class SkillLaunchTest : public ::testing::Test
{
protected:
    void SetUp() override { setMode("normal"); }
    void TearDown() override { setMode("normal"); }

    static void setMode(const std::string& mode) { skillDevice().writeStateFile("platform/mode", mode + "\n"); }

    static HttpResponse launch(const std::string& name, const std::string& context)
    {
        return skillApi().post("/skill/launch", R"({"name":")" + name + R"(","context":")" + context + R"("})");
    }

    static bool running(const std::string& name)
    {
        const auto skill = listedSkill(name);
        return skill && skill->getValue<bool>("running");
    }

    // Launches the probe so that it exits with code, and returns the demo
    // runtime's report of that launch.
    static Poco::JSON::Object::Ptr launchProbe(int code)
    {
        const std::size_t before = launchReports().size();
        const HttpResponse r = launch("probe", "exit " + std::to_string(code));
        EXPECT_EQ(r.status, 204) << r.reason;
        EXPECT_TRUE(eventually([&] { return launchReports().size() > before; }));
        return launchReports().back();
    }
};

TEST_F(SkillLaunchTest, RunsAsTheModeUserWithItsGroupsSessionAndArguments)
{
    const auto report = launchProbe(5);
    EXPECT_EQ(report->getValue<int>("uid"), 2001);
    EXPECT_EQ(report->getValue<int>("gid"), 2001);
    EXPECT_EQ(elements<int>(report->getArray("groups")), (std::vector<int>{2001, 3000, 3001}));
    EXPECT_EQ(report->getValue<std::string>("cwd"), PROBE_DIR);
    EXPECT_EQ(elements<std::string>(report->getArray("argv")),
              (std::vector<std::string>{"http://127.0.0.1:8079/registry", PROBE_DIR + "/main.sh", "exit 5"}));
    const auto env = report->getObject("env");
    EXPECT_EQ(env->getValue<std::string>("HOME"), "/home/pemo");
    EXPECT_EQ(env->getValue<std::string>("PEMO_DEVICE"), "simulated");
    const std::string token = env->getValue<std::string>("PEMO_AUTHENTICATE");
    EXPECT_EQ(token.size(), 36u);

    // Reaped within about a second of its exit, its session deleted.
    EXPECT_TRUE(eventually([] { return !running("probe"); }, Poco::Timespan(3, 0)));
    EXPECT_FALSE(contains(sessionTokens(), token));
    EXPECT_EQ(logLines("Skill probe exited with code 5").size(), 1u);

    setMode("developer");
    const auto developer = launchProbe(0);
    EXPECT_EQ(developer->getValue<int>("uid"), 2002);
    EXPECT_EQ(elements<int>(developer->getArray("groups")), (std::vector<int>{2002, 3000}));
    EXPECT_EQ(developer->getObject("env")->getValue<std::string>("HOME"), "/home/developer");
    EXPECT_TRUE(eventually([] { return !running("probe"); }, Poco::Timespan(3, 0)));
}

TEST_F(SkillLaunchTest, ARunningSkillIsNotLaunchedTwiceAndCanBeTerminated)
{
    const std::size_t before = launchReports().size();
    ASSERT_EQ(launch("probe", "").status, 204);
    ASSERT_TRUE(eventually([&] { return launchReports().size() == before + 1; }));
    const std::string token = launchReports().back()->getObject("env")->getValue<std::string>("PEMO_AUTHENTICATE");
    EXPECT_TRUE(contains(sessionTokens(), token));
    const auto started = listedSkill("probe")->getArray("lastStartTime");

    const HttpResponse again = launch("probe", "second");
    EXPECT_EQ(again.status, 500);
    EXPECT_EQ(again.reason, "Internal Server Error");
    Poco::Thread::sleep(500);
    EXPECT_EQ(launchReports().size(), before + 1);
    EXPECT_TRUE(running("probe"));
    EXPECT_EQ(elements<int>(listedSkill("probe")->getArray("lastStartTime")), elements<int>(started));

    const HttpResponse stop = skillApi().post("/skill/terminate", R"({"name":"probe"})");
    EXPECT_EQ(stop.status, 204);
    EXPECT_FALSE(contains(sessionTokens(), token));
    EXPECT_TRUE(eventually([] { return !running("probe"); }, Poco::Timespan(3, 0)));

    const HttpResponse idle = skillApi().post("/skill/terminate", R"({"name":"probe"})");
    EXPECT_EQ(idle.status, 500);
    EXPECT_EQ(idle.reason, "Skill is not running: probe");
}

TEST_F(SkillLaunchTest, RefusalsNameTheirCause)
{
    setMode("ghost");
    HttpResponse r = launch("probe", "exit 0");
    EXPECT_EQ(r.status, 500);
    EXPECT_EQ(r.reason, "Failed to launch probe: Could not find launch user: ghost-user");
    EXPECT_FALSE(running("probe"));

    setMode("unlisted");
    EXPECT_EQ(launch("probe", "").reason, "Unknown mode: unlisted");
    EXPECT_EQ(launch("nothing-here", "").reason, "Unknown skill: nothing-here");
    EXPECT_EQ(skillApi().post("/skill/terminate", R"({"name":"nothing-here"})").reason, "Unknown skill: nothing-here");
}

// The device's search directories in the configured order, and the exact
// form of an entry never launched; the catalogue's rules themselves (and
// what a deletion uncovers) are pinned by its unit tests.
TEST_F(SkillLaunchTest, CatalogueFollowsTheConfiguredDirectories)
{
    const std::string installed = installedSkills();
    installSkill(installed + "/zz-twin", R"({"name":"zz twin","version":"installed"})");
    installSkill(developmentSkills() + "/zz-twin", R"({"name":"zz twin","version":"development"})");
    installSkill(installed + "/dev/zz-tool", R"({"name":"zz-tool","version":"2"})");

    const HttpResponse r = skillApi().get("/skill/list");
    ASSERT_EQ(r.status, 200);
    EXPECT_EQ(r.header("Content-Type"), "application/json");
    EXPECT_EQ(listedSkill("zz twin")->getValue<std::string>("path"), "/opt/pemo/Dev/Skills/zz-twin");
    EXPECT_NE(r.body.find(R"({
            "name": "zz-tool",
            "path": "/opt/pemo/Pemo/Skills/dev/zz-tool",
            "version": "2",
            "running": false,
            "lastStartTime": [
                0,
                0
            ]
        })"),
              std::string::npos)
        << r.body;

    for (const std::string& dir :
         {installed + "/zz-twin", developmentSkills() + "/zz-twin", installed + "/dev/zz-tool"})
        Poco::File(dir).remove(true);
}

// Deleting a running skill's directory drops it from the catalogue at once,
// without stopping its process.
TEST_F(SkillLaunchTest, ADeletedSkillDisappearsEvenWhileRunning)
{
    installSkill(installedSkills() + "/zz-doomed", R"({"name":"zz-doomed","pemo":{"main":"main.sh"}})",
                 "#!/bin/sh\ntrap 'exit 0' TERM\nwhile :; do sleep 0.2; done\n");
    // Launch knows only what the last scan found.
    EXPECT_EQ(launch("zz-doomed", "").reason, "Unknown skill: zz-doomed");
    const HttpResponse refresh = skillApi().post("/skill/refresh");
    EXPECT_EQ(refresh.status, 204);
    EXPECT_TRUE(refresh.body.empty());
    const std::size_t before = launchReports().size();
    ASSERT_EQ(launch("zz-doomed", "").status, 204);
    ASSERT_TRUE(eventually([&] { return launchReports().size() > before; }));
    const std::string pid = std::to_string(launchReports().back()->getValue<int>("pid"));
    ASSERT_TRUE(running("zz-doomed"));

    Poco::File(installedSkills() + "/zz-doomed").remove(true);
    EXPECT_FALSE(listedSkill("zz-doomed"));
    EXPECT_EQ(skillDevice().exec({"kill", "-0", pid}).status, 0) << "the process was stopped with its entry";
    skillDevice().exec({"kill", pid});
}

// The system manager with one HTTP worker, so that a handful of concurrent
// launches outnumbers them, and idle skills to launch.
SimOptions fewWorkersDevice(const std::vector<std::string>& idle)
{
    SimOptions options;
    options.config = [](Poco::JSON::Object& config) { config.getObject("pemo")->getObject("http")->set("threads", 1); };
    Overlay overlay;
    for (const auto& name : idle)
    {
        const std::string dir = "opt/pemo/Pemo/Skills/" + name;
        overlay[dir + "/package.json"] = R"({"name": ")" + name + R"(", "pemo": {"main": "main.sh"}})";
        overlay[dir + "/main.sh"] = "#!/bin/sh\ntrap 'exit 0' TERM\nwhile :; do sleep 0.2; done\n";
    }
    options.overlays.push_back(overlay);
    // The logs are read after the stop.
    options.keepFiles = true;
    return options;
}

// "skill/reason/code" of each SkillNotification the subscriber receives
// until count have come or none comes for a while.
std::multiset<std::string> skillNotifications(WebSocketSubscriber& subscriber, std::size_t count)
{
    std::multiset<std::string> seen;
    try
    {
        while (seen.size() < count)
        {
            const auto frame = subscriber.receive(Poco::Timespan(4, 0));
            if (!frame)
                break;
            const auto data = parseObject(*frame)->getObject("data");
            seen.insert(data->getValue<std::string>("skill") + "/" + data->getValue<std::string>("reason") + "/" +
                        data->getValue<std::string>("code"));
        }
    }
    catch (const Poco::Exception& e)
    {
        ADD_FAILURE() << "subscription ended: " << e.displayText();
    }
    return seen;
}

// Launches that outnumber the HTTP workers, each telling the system manager
// itself of its session and posting its start to it under the skill lock,
// are all announced at once; and stopping the daemon sends every running
// skill SIGTERM, waits for it, and a subscriber connected through the stop
// hears every exit.
TEST(SkillShutdownTest, LaunchesOutnumberingTheWorkersAreAnnouncedAndEveryExitReachesSubscribersAtStop)
{
    const std::vector<std::string> skills{"hello", "idle-1", "idle-2", "idle-3", "idle-4", "idle-5"};
    SimDevice device(fewWorkersDevice({skills.begin() + 1, skills.end()}));
    device.start();
    const ApiClient api(device.port(), device.token());
    auto subscriber = subscribe(device);
    ASSERT_TRUE(subscriber);

    std::vector<std::future<int>> launches;
    for (const auto& name : skills)
        launches.push_back(std::async(std::launch::async, [&api, name] {
            return api.post("/skill/launch", R"({"name":")" + name + R"(","context":""})").status;
        }));
    std::multiset<std::string> expected;
    for (const auto& name : skills)
        expected.insert(name + "/0/0");
    EXPECT_EQ(skillNotifications(*subscriber, skills.size()), expected);
    for (auto& launch : launches)
        EXPECT_EQ(launch.get(), 204);

    std::future<int> stopped = std::async(std::launch::async, [&device] { return device.stop(); });
    expected.clear();
    for (const auto& name : skills)
        expected.insert(name + "/1/0");
    EXPECT_EQ(skillNotifications(*subscriber, skills.size()), expected);
    ASSERT_EQ(stopped.get(), 0);

    const std::string log = device.readStateFile("log/system-manager.log");
    for (const auto& name : skills)
    {
        const std::size_t waiting = log.find("Waiting for " + name + " to terminate");
        EXPECT_NE(waiting, std::string::npos) << name;
        EXPECT_LT(waiting, log.find("Skill " + name + " exited with code 0")) << name;
    }
    EXPECT_EQ(log.find("Failed to post skill"), std::string::npos);
    EXPECT_EQ(device.readStateFile("log/sim.log").find("left behind"), std::string::npos);
    if (!::testing::Test::HasFailure())
        device.removeFiles();
}

} // namespace
} // namespace pemo::test
