// pemoctl against a simulated device: every subcommand group, for people
// and with --json, and the exit codes that tell scripts what went wrong.
#include "Http.h"
#include "PemoctlRunner.h"
#include "SharedDevice.h"
#include "SimDevice.h"

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>

#include <gtest/gtest.h>

namespace pemo::test {
namespace {

using namespace std::chrono_literals;

class PemoctlTest : public ::testing::Test
{
protected:
    void SetUp() override { device = &sharedDevice(); }

    // pemoctl with the device's token; a failure shows what it printed.
    PemoctlResult run(std::vector<std::string> args, const std::string& input = "")
    {
        args.insert(args.begin(), {"--token", device->token()});
        return pemoctl(device->port(), args, input);
    }

    // Runs args, which must succeed, and returns what they printed.
    std::string ok(const std::vector<std::string>& args, const std::string& input = "")
    {
        const PemoctlResult r = run(args, input);
        EXPECT_EQ(r.code, 0) << "pemoctl " << args.front() << ": " << r.err;
        return r.out;
    }

    SimDevice* device = nullptr;
};

std::string joined(const std::vector<std::string>& args)
{
    std::string text;
    for (const auto& a : args)
        text += (text.empty() ? "" : " ") + a;
    return text;
}

// Read-only commands: the human form names what the device has, and --json
// prints the body of the one request exactly as the server sent it.
TEST_F(PemoctlTest, ReadsShowTheDeviceAndJsonIsTheServersBody)
{
    const ApiClient api = sharedApi();
    struct Read
    {
        std::vector<std::string> args;
        std::string path;
        std::string shown;
    };
    const std::vector<Read> reads{
        {{"mode"}, "/mode", "normal"},
        {{"service", "list"}, "/service/list", "demo-alpha"},
        {{"skill"}, "/skill/list", "countdown"},
        {{"session", "list"}, "/session/list", ""},
        {{"wifi", "interface"}, "/wifi/interface", "Method: dhcp"},
        {{"identity"}, "/identity", "SIM-000001"},
        {{"version"}, "/version", "Pemo Release Version"},
        {{"firewall"}, "/dynamic_firewall", "off"},
        {{"time", "zone"}, "/time/zone", "Etc/UTC"},
    };
    for (const auto& read : reads)
    {
        SCOPED_TRACE(joined(read.args));
        EXPECT_NE(ok(read.args).find(read.shown), std::string::npos);
        std::vector<std::string> json{"--json"};
        json.insert(json.end(), read.args.begin(), read.args.end());
        EXPECT_EQ(ok(json), api.get(read.path).body + "\n");
    }

    // Commands of several requests show each body under its path.
    const auto storage = parseObject(ok({"--json", "storage"}));
    EXPECT_TRUE(storage->getObject("/storage/mounts")->has("mounts"));
    EXPECT_TRUE(storage->getObject("/storage/semantic")->has("usage"));
    EXPECT_NE(ok({"storage"}).find("/opt/pemo/Pemo/Skills"), std::string::npos);
    EXPECT_TRUE(parseObject(ok({"--json", "time"}))->getObject("/time/current")->has("time"));
    EXPECT_NE(ok({"time"}).find("Time zone: Etc/UTC"), std::string::npos);
    EXPECT_TRUE(parseObject(ok({"--json", "health"}))->getArray("errors")->size() == 0);
    EXPECT_NE(ok({"health"}).find("Errors: none"), std::string::npos);

    const std::string status = ok({"status"});
    for (const char* line : {"Mode: normal", "2 of 2 running", "Wi-Fi: COMPLETED 192.168.77.", "(Etc/UTC)", "Health: no errors"})
        EXPECT_NE(status.find(line), std::string::npos) << line << " missing from\n" << status;
    const auto statusJson = parseObject(ok({"--json", "status"}));
    EXPECT_EQ(statusJson->getObject("/mode")->getValue<std::string>("mode"), "normal");
    EXPECT_TRUE(statusJson->getObject("/wifi/wpa")->has("response"));
}

// Every change made through pemoctl is what the device then reports.
TEST_F(PemoctlTest, ChangesReachTheDevice)
{
    ok({"mode", "set", "developer"});
    EXPECT_EQ(ok({"mode"}), "developer\n");
    ok({"mode", "set", "normal"});

    ok({"service", "stop", "demo-beta"});
    EXPECT_NE(ok({"service"}).find("demo-beta   no       stopped"), std::string::npos) << ok({"service"});
    ok({"service", "start", "demo-beta"});
    ok({"service", "restart", "demo-alpha"});

    const std::string token = parseObject(ok({"--json", "session", "request"}))->getObject("session")->getValue<std::string>("token");
    EXPECT_NE(ok({"session", "request"}).find("Permissions: none"), std::string::npos);
    ok({"session", "current", token});
    EXPECT_NE(ok({"session", "current"}).find("Token: " + token), std::string::npos);
    EXPECT_NE(ok({"session"}).find("* " + token + " (current)"), std::string::npos);
    ok({"session", "delete", token});
    EXPECT_EQ(ok({"session"}).find(token), std::string::npos);

    ok({"skill", "refresh"});
    ok({"skill", "launch", "hello", "--context", "hi there"});
    EXPECT_NE(ok({"skill", "list"}).find("running"), std::string::npos);
    ok({"skill", "terminate", "hello"});
    EXPECT_TRUE(eventually([&] { return ok({"skill"}).find("running") == std::string::npos; }));

    ok({"time", "zone", "Europe/Paris"});
    EXPECT_NE(ok({"time"}).find("Time zone: Europe/Paris"), std::string::npos);
    device->clearCalls("ntpdate");
    ok({"time", "sync"});
    EXPECT_EQ(device->calls("ntpdate").size(), 1u);

    ok({"credentials", "set", "--access-key-id", "id", "--secret-access-key", "secret", "--region", "eu-west-1"});
    const std::string shown = ok({"credentials"});
    EXPECT_NE(shown.find("Access key id: id"), std::string::npos) << shown;
    EXPECT_EQ(shown.find("secret\n"), std::string::npos) << "the secret is hidden without --show-secret";
    EXPECT_NE(ok({"credentials", "--show-secret"}).find("Secret access key: secret"), std::string::npos);

    ok({"firewall", "developer"});
    EXPECT_EQ(ok({"firewall"}), "developer\n");
    const std::string switched = ok({"--json", "firewall", "off"});
    EXPECT_EQ(switched, sharedApi().get("/dynamic_firewall").body + "\n");
    ok({"logs", "rotate"});
}

// The update cycle of the device's catalogue, with the refusals that a
// script must tell apart: a request the robot will not do, and success.
TEST_F(PemoctlTest, UpdatesAreListedDownloadedAndApplied)
{
    ok({"credentials", "set", "--access-key-id", "id", "--secret-access-key", "s", "--region", "r"});
    const std::string listed = ok({"update", "list"});
    for (const char* id : {"hello-1.1.0", "os-2.0.0", "services-1.1.0"})
        EXPECT_NE(listed.find(id), std::string::npos) << listed;
    EXPECT_NE(listed.find("os 2.0.0"), std::string::npos) << "the dependency of services is shown";
    EXPECT_EQ(ok({"--json", "update"}), sharedApi().get("/update").body + "\n");

    ok({"update", "download", "os-2.0.0", "services-1.1.0"});
    const PemoctlResult alone = run({"update", "apply", "services-1.1.0"});
    EXPECT_EQ(alone.code, 65);
    EXPECT_NE(alone.err.find("Dependency os == 2.0.0 not satisfied"), std::string::npos) << alone.err;
    const PemoctlResult unknown = run({"--json", "update", "download", "nope"});
    EXPECT_EQ(unknown.code, 65);
    EXPECT_EQ(unknown.out, "{\"error\":\"Unknown update requested\"}\n");

    ok({"update", "apply", "services-1.1.0", "os-2.0.0"});
    EXPECT_NE(ok({"version"}).find("Release-2.0.0"), std::string::npos);
    EXPECT_EQ(ok({"update"}).find("os-2.0.0"), std::string::npos);
}

// Followers print each notification on one line: one the test posts through
// pemoctl, and a Wi-Fi event the device's supplicant sends.
TEST_F(PemoctlTest, FollowersPrintWhatArrives)
{
    RunningPemoctl human(device->port(), {"--token", device->token(), "notifications", "--follow"});
    RunningPemoctl json(device->port(), {"--token", device->token(), "--json", "notifications", "-f"});
    // The subscriptions are made once the processes run: post until both saw one.
    EXPECT_TRUE(eventually([&] {
        ok({"notify", "--type", "CliTest", "--channel", "MOTION", "--data", R"({"step": "one two"})"});
        return human.output().find("CliTest") != std::string::npos && json.output().find("CliTest") != std::string::npos;
    }));
    EXPECT_NE(human.output().find(R"(CliTest MOTION {"step":"one two"})"), std::string::npos) << human.output();
    const std::string line = json.output().substr(0, json.output().find('\n'));
    EXPECT_EQ(line.find(R"({"type":"CliTest","channel":"MOTION","ts":[)"), 0u) << line;
    EXPECT_NE(line.find(R"("data":{"step":"one two"}})"), std::string::npos) << line;

    RunningPemoctl events(device->port(), {"--token", device->token(), "wifi", "messages", "--follow"});
    EXPECT_TRUE(eventually([&] {
        device->simulator("wifi", {"disconnect"});
        device->simulator("wifi", {"reconnect"});
        return events.waitFor("CTRL-EVENT-CONNECTED", 1500ms);
    }, 30s)) << events.output();
    EXPECT_EQ(events.output().find("{\"message\""), std::string::npos) << "people get the event line itself";

    const PemoctlResult one = run({"notifications", "--wait", "1"});
    EXPECT_EQ(one.code, 1) << one.err;
}

TEST_F(PemoctlTest, WifiIsConfiguredAndQueried)
{
    EXPECT_NE(ok({"wifi", "wpa", "STATUS"}).find("wpa_state=COMPLETED"), std::string::npos);
    ok({"wifi", "interface", "set", "--static", "192.168.77.50/24", "--dns", "192.168.77.1", "--dns", "192.168.77.2"});
    const std::string shown = ok({"wifi", "interface"});
    for (const char* line : {"Method: static", "Address: 192.168.77.50", "Netmask: 255.255.255.0",
                             "DNS: 192.168.77.1 192.168.77.2"})
        EXPECT_NE(shown.find(line), std::string::npos) << line << " missing from\n" << shown;
    ok({"wifi", "interface", "set", "--dhcp"});
    EXPECT_NE(ok({"wifi", "interface"}).find("Method: dhcp"), std::string::npos);
}

// What cannot be undone asks first; declined, nothing reaches the device.
TEST_F(PemoctlTest, PowerAndMaintenanceAskFirst)
{
    device->clearCalls("reboot");
    const PemoctlResult declined = run({"power", "reboot"}, "n\n");
    EXPECT_EQ(declined.code, 1);
    EXPECT_NE(declined.err.find("Reboot the robot"), std::string::npos) << declined.err;
    const PemoctlResult wipeDeclined = run({"system", "wipe"}, "");
    EXPECT_EQ(wipeDeclined.code, 1);

    ok({"system", "backup"});
    ok({"system", "wipe", "--yes"});
    const PemoctlResult restore = run({"system", "restore", "--yes"});
    EXPECT_EQ(restore.code, 70) << "the simulator has no restore archive";
    EXPECT_NE(restore.err.find("500 Failed to do system restore"), std::string::npos) << restore.err;

    ok({"power", "reboot"}, "y\n");
    const PemoctlResult again = run({"power", "off", "--yes"});
    EXPECT_EQ(again.code, 70);
    EXPECT_NE(again.err.find("500 PowerOff already requested"), std::string::npos) << again.err;
}

TEST_F(PemoctlTest, AWrongTokenIsRefusedWith77)
{
    for (const auto& args : std::vector<std::vector<std::string>>{
             {"--token", "wrong", "mode"}, {"mode"}, {"--token", "wrong", "notifications", "--wait", "1"}, {"--token", "wrong", "status"}})
    {
        const PemoctlResult r = pemoctl(device->port(), args);
        EXPECT_EQ(r.code, 77) << joined(args) << ": " << r.err;
        EXPECT_NE(r.err.find("403 Forbidden"), std::string::npos) << r.err;
    }
}

TEST_F(PemoctlTest, AStoppedDeviceIsUnreachable)
{
    SimDevice stopped;
    stopped.start();
    ASSERT_EQ(pemoctl(stopped.port(), {"--token", stopped.token(), "mode"}).code, 0);
    stopped.stop();
    for (const auto& args : std::vector<std::vector<std::string>>{{"mode"}, {"status"}, {"notifications", "-f"}})
    {
        const PemoctlResult r = pemoctl(stopped.port(), args);
        EXPECT_EQ(r.code, 69) << joined(args);
        EXPECT_NE(r.err.find("cannot reach the system manager at 127.0.0.1:" + std::to_string(stopped.port())),
                  std::string::npos)
            << r.err;
    }
}

// A malformed command line ends with 2 before pemoctl connects anywhere:
// the listener here never sees a connection.
TEST_F(PemoctlTest, MalformedArgumentsFailBeforeAnyRequest)
{
    Poco::Net::ServerSocket listener(Poco::Net::SocketAddress("127.0.0.1", 0));
    const std::uint16_t port = listener.address().port();
    for (const auto& args : std::vector<std::vector<std::string>>{
             {"wifi", "interface", "set", "--static", "192.168.77.300/24"},
             {"wifi", "interface", "set", "--static", "192.168.77.50"},
             {"wifi", "interface", "set", "--dhcp", "--static", "192.168.77.50/24"},
             {"notify", "--type", "T", "--data", "{not json"},
             {"notify", "--type", "T", "--data", "1", "--channel", "RADIO"},
             {"update", "list", "a/b"},
             {"mode", "set"},
             {"session", "delete"},
             {"--timeout", "0", "mode"},
             {"frobnicate"}})
    {
        const PemoctlResult r = pemoctl(port, args);
        EXPECT_EQ(r.code, 2) << joined(args) << ": " << r.err;
        EXPECT_FALSE(r.err.empty()) << joined(args);
    }
    EXPECT_FALSE(listener.poll(Poco::Timespan(0), Poco::Net::Socket::SELECT_READ)) << "a connection was made";
}

} // namespace
} // namespace pemo::test
