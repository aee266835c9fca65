// The device simulator itself: what runs inside is cut off from the host,
// overlays land where they should, and stopping (or a crash) leaves nothing
// behind. Also the first thing a running system manager does: register with
// the device's registry.
#include "SharedDevice.h"

#include <Poco/JSON/Object.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <dirent.h>
#include <fstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace pemo::test {
namespace {

std::string nsOf(const std::string& pid, const std::string& ns)
{
    char buffer[256] = {};
    const ssize_t n = ::readlink(("/proc/" + pid + "/ns/" + ns).c_str(), buffer, sizeof(buffer) - 1);
    return n > 0 ? std::string(buffer, static_cast<std::size_t>(n)) : "";
}

bool exists(const std::string& path)
{
    struct stat st;
    return ::lstat(path.c_str(), &st) == 0;
}

std::string trimmed(std::string s)
{
    while (!s.empty() && (s.back() == '\n' || s.back() == ' '))
        s.pop_back();
    return s;
}

// Processes on the whole machine that live in the given PID namespace.
std::vector<std::string> processesIn(const std::string& pidNamespace)
{
    std::vector<std::string> found;
    DIR* dir = ::opendir("/proc");
    if (!dir)
        return found;
    while (dirent* entry = ::readdir(dir))
    {
        const std::string name = entry->d_name;
        if (name.find_first_not_of("0123456789") != std::string::npos)
            continue;
        if (nsOf(name, "pid") == pidNamespace)
            found.push_back(name);
    }
    ::closedir(dir);
    return found;
}

bool portAnswers(std::uint16_t port)
{
    try
    {
        ApiClient(port, std::nullopt).get("/mode");
        return true;
    }
    catch (const std::exception&)
    {
        return false;
    }
}

// One device with a bridged registry and two overlays, shared by the tests
// that only look at it.
class SimulatorTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        const Overlay first{{"usr/bin/pemo-version", "#!/bin/sh\necho first\n"},
                            {"usr/bin/only-in-first", "#!/bin/sh\necho only-first\n"},
                            {"var/pemo/identity.json", "{\"from\": \"first\"}\n"},
                            {"etc/pemo-sim-test.conf", "first\n"}};
        const Overlay second{{"usr/bin/pemo-version", "#!/bin/sh\necho second\n"},
                             {"sbin/pemo-sim-test-tool", "#!/bin/sh\necho tool\n"}};
        registryPort = freePort();
        SimOptions options{{first, second}, {}, {"--registry-port", std::to_string(registryPort)}};
        options.keepFiles = true; // the logs are read after the stop
        device = std::make_unique<SimDevice>(options);
        device->start();
    }
    // Stopping the device is itself under test: both daemons stop cleanly and
    // every process of the device ends with it.
    static void TearDownTestSuite()
    {
        if (!device || !device->running())
            return;
        const std::string pidNamespace = nsOf(trimmed(device->readStateFile("device.pid")), "pid");
        ASSERT_FALSE(pidNamespace.empty());
        ASSERT_FALSE(processesIn(pidNamespace).empty());

        EXPECT_EQ(device->stop(), 0);
        EXPECT_TRUE(processesIn(pidNamespace).empty());
        EXPECT_FALSE(portAnswers(device->port())) << "the bridge still answers";
        EXPECT_FALSE(exists(device->statePath("ready")));
        const std::string log = device->readStateFile("log/sim.log");
        EXPECT_NE(log.find("system-manager exited with status 0"), std::string::npos) << log;
        EXPECT_NE(log.find("service-registry exited with status 0"), std::string::npos) << log;
        EXPECT_EQ(log.find("left behind"), std::string::npos) << log;
        EXPECT_EQ(log.find("killing"), std::string::npos) << log;
        if (!::testing::UnitTest::GetInstance()->Failed())
            device->removeFiles();
        device.reset();
    }
    void SetUp() override { ASSERT_TRUE(device && device->running()); }

    ExecResult exec(const std::vector<std::string>& argv) const { return device->exec(argv); }

    static std::unique_ptr<SimDevice> device;
    static std::uint16_t registryPort;
};
std::unique_ptr<SimDevice> SimulatorTest::device;
std::uint16_t SimulatorTest::registryPort = 0;

TEST_F(SimulatorTest, TheDeviceRunsInItsOwnNamespaces)
{
    const std::string devicePid = trimmed(device->readStateFile("device.pid"));
    for (const char* ns : {"mnt", "net", "pid", "ipc", "uts"})
        EXPECT_NE(nsOf(devicePid, ns), nsOf("self", ns)) << ns;

    // Only the device's own links: its loopback and wlan0, whose peer is in
    // the device's nested access point namespace; nothing of the host's.
    const ExecResult links = exec({"ip", "-o", "link", "show"});
    ASSERT_EQ(links.status, 0) << links.output;
    EXPECT_NE(links.output.find("1: lo:"), std::string::npos) << links.output;
    EXPECT_NE(links.output.find(": wlan0@"), std::string::npos) << links.output;
    EXPECT_NE(links.output.find("link-netns pemo-ap"), std::string::npos) << links.output;
    EXPECT_EQ(std::count(links.output.begin(), links.output.end(), '\n'), 2) << links.output;
}

TEST_F(SimulatorTest, WritesInsideNeverReachTheHost)
{
    const std::string probe = "pemo-sim-probe-" + std::to_string(::getpid());
    const ExecResult r = exec({"sh", "-c",
                               "echo x > /etc/" + probe + " && echo x > /usr/" + probe + " && echo x > /var/" + probe +
                                   " && echo x > /root/" + probe + " && echo x > /tmp/" + probe +
                                   " && echo x > /var/pemo/" + probe + " && echo x > /opt/" + probe});
    ASSERT_EQ(r.status, 0) << r.output;
    for (const char* dir : {"/etc/", "/usr/", "/var/", "/root/", "/tmp/", "/var/pemo/", "/opt/"})
        EXPECT_FALSE(exists(dir + probe)) << dir << probe << " appeared on the host";
    // The device's own directories are in the state directory instead.
    EXPECT_TRUE(exists(device->statePath("device/var/pemo/" + probe)));
    EXPECT_TRUE(exists(device->statePath("device/opt/" + probe)));
    EXPECT_TRUE(exists(device->statePath("upper/etc/" + probe)));
}

TEST_F(SimulatorTest, FakePlatformProgramsReplaceTheRealOnes)
{
    // The host has none of them; inside, each is the simulator's fake and logs its call.
    EXPECT_FALSE(exists("/usr/bin/pemo-getmode"));
    for (const char* program : {"/sbin/poweroff", "/sbin/reboot", "/sbin/hwclock", "/etc/init.d/S66ntp"})
    {
        const std::string name = std::string(program).substr(std::string(program).rfind('/') + 1);
        device->clearCalls(name);
        const ExecResult r = exec({program, "--probe", "two words"});
        EXPECT_EQ(r.status, 0) << program << ": " << r.output;
        EXPECT_EQ(device->calls(name), (std::vector<std::vector<std::string>>{{"--probe", "two words"}})) << program;
    }
}

TEST_F(SimulatorTest, LaterOverlaysWinAndSymbolicLinksOfTheHostAreFollowed)
{
    EXPECT_EQ(exec({"pemo-version"}).output, "second\n");
    EXPECT_EQ(exec({"only-in-first"}).output, "only-first\n");
    EXPECT_EQ(exec({"cat", "/etc/pemo-sim-test.conf"}).output, "first\n");
    // Placed at /sbin in the overlay, found wherever /sbin leads on the host.
    EXPECT_EQ(exec({"/sbin/pemo-sim-test-tool"}).output, "tool\n");
    // A file for a persistent directory replaces the default one.
    EXPECT_EQ(device->readStateFile("device/var/pemo/identity.json"), "{\"from\": \"first\"}\n");
    EXPECT_EQ(exec({"cat", "/var/pemo/identity.json"}).output, "{\"from\": \"first\"}\n");
}

TEST_F(SimulatorTest, TheSystemManagerRegistersWithTheDevicesRegistry)
{
    // The registration happens at start and is refreshed every ten seconds.
    HttpResponse r;
    for (int i = 0; i < 50; ++i)
    {
        r = ApiClient(registryPort, device->token()).get("/registry/system-manager");
        if (r.status == 200)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    ASSERT_EQ(r.status, 200) << r.reason;
    const auto record = parseObject(r.body);
    ASSERT_FALSE(record.isNull()) << r.body;
    EXPECT_EQ(record->getValue<std::string>("name"), "system-manager");
    EXPECT_EQ(record->getValue<std::string>("host"), "127.0.0.1");
    EXPECT_EQ(record->getValue<unsigned>("port"), 8080u);
    EXPECT_EQ(record->getValue<std::string>("path"), "/");
    EXPECT_EQ(record->getValue<unsigned>("ttl"), 30u);
}

TEST(SimulatorLifecycleTest, ADaemonThatDiesEndsTheSimulatorWithAFailure)
{
    SimDevice device;
    device.start();
    const std::string pid = trimmed(device.readStateFile("pids/system-manager"));
    const ExecResult kill = device.exec({"kill", "-KILL", pid});
    ASSERT_EQ(kill.status, 0) << kill.output;
    const int status = device.waitForExit(30);
    EXPECT_NE(status, -1) << "the simulator kept running";
    EXPECT_NE(status, 0);
    EXPECT_FALSE(portAnswers(device.port()));
}

TEST(SimulatorLifecycleTest, ABusyPortIsRefusedBeforeAnythingStarts)
{
    // Occupy a port with a listener, then ask the simulator for it.
    const std::uint16_t port = freePort();
    Poco::Net::ServerSocket listener(Poco::Net::SocketAddress("127.0.0.1", port));
    const std::string state = "/tmp/pemo-it-busy-" + std::to_string(::getpid());
    const std::string command = sourceDir() + "/sim/pemo-sim --build " + buildDir() + " --state " + state +
                                " --port " + std::to_string(port) + " > " + state + ".out 2>&1";
    const int status = ::system(command.c_str());
    std::ifstream in(state + ".out");
    const std::string output((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(status, 0);
    EXPECT_NE(output.find("already in use"), std::string::npos) << output;
    EXPECT_FALSE(exists(state + "/device.pid"));
    ::system(("rm -rf '" + state + "' '" + state + ".out'").c_str());
}

} // namespace
} // namespace pemo::test
