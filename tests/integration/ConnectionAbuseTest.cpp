// What one local client may do to the API without keeping it from anyone
// else: hold idle connections, drip request bodies, burst, hold more
// connections than the daemon has descriptors for. Each abuse runs inside a
// simulated device, against the device's own loopback as a skill would, with
// the open-file limit of a board (1,024); meanwhile a fresh request is made
// every 200 ms and must be answered within 2 s, and afterwards the daemon
// must hold as many descriptors as before.
#include "SharedDevice.h"
#include "SimDevice.h"

#include <Poco/JSON/Object.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace pemo::test {
namespace {

const int FRESH_REQUEST_LIMIT_MS = 2000;

class ConnectionAbuseTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        SimOptions options;
        options.extraArgs = {"--open-files", "1024"};
        options.config = [](Poco::JSON::Object& root) {
            // No supervised services: their restarts would move the count
            // of descriptors this test compares.
            root.getObject("SystemManager")->getObject("service")->set("services", Poco::JSON::Array());
        };
        _device = std::make_unique<SimDevice>(options);
        _device->start();
    }

    static void TearDownTestSuite() { _device.reset(); }

    void SetUp() override { _before = descriptors(); }

    // The abuse tool's report of one run inside the device.
    Poco::JSON::Object::Ptr abuse(const std::vector<std::string>& args)
    {
        std::vector<std::string> argv{buildDir() + "/bin/pemo-http-abuse", "8080", _device->token()};
        argv.insert(argv.end(), args.begin(), args.end());
        const ExecResult result = _device->exec(argv);
        EXPECT_EQ(result.status, 0) << result.output;
        return parseObject(result.output);
    }

    // The system manager's open descriptors, counted inside the device.
    static int descriptors()
    {
        const std::string pid = _device->readStateFile("pids/system-manager");
        const ExecResult count = _device->exec({"sh", "-c", "ls /proc/" + pid.substr(0, pid.find('\n')) + "/fd | wc -l"});
        return std::stoi(count.output);
    }

    // Every probe answered in time, the daemon answering afterwards, and
    // its descriptors back where they were once the abuse is over.
    void expectUnharmed(const Poco::JSON::Object::Ptr& report)
    {
        EXPECT_GT(report->getValue<int>("probes"), 10);
        EXPECT_EQ(report->getValue<int>("probeFailures"), 0);
        EXPECT_LT(report->getValue<int>("slowestProbeMs"), FRESH_REQUEST_LIMIT_MS);
        EXPECT_EQ(ApiClient(_device->port(), _device->token()).get("/mode").status, 200);
        int now = 0;
        EXPECT_TRUE(eventually([&] { return (now = descriptors()) == _before; }, std::chrono::seconds(20)))
            << now << " descriptors after the abuse, " << _before << " before";
    }

    static std::unique_ptr<SimDevice> _device;
    int _before = 0;
};

std::unique_ptr<SimDevice> ConnectionAbuseTest::_device;

TEST_F(ConnectionAbuseTest, IdleConnectionsNoLongerStarveFreshRequests)
{
    const auto report = abuse({"--idle", "1000", "--hold", "8"});
    expectUnharmed(report);
    // The server closed idle ones to make room and at their deadline.
    EXPECT_GT(report->getValue<int>("reopened"), 0);
}

TEST_F(ConnectionAbuseTest, DripFedBodiesNoLongerHoldTheWorkers)
{
    const auto report = abuse({"--drip", "40", "--hold", "14"});
    expectUnharmed(report);
    // Each body was cut off at its deadline, well before its last byte.
    EXPECT_GE(report->getValue<int>("reopened"), 40);
}

TEST_F(ConnectionAbuseTest, NoRequestOfABurstIsClosedUnanswered)
{
    const auto report = abuse({"--hold", "3", "--burst", "96x30"});
    EXPECT_EQ(report->getValue<int>("burstAnswered"), 96 * 30);
    EXPECT_EQ(report->getValue<int>("burstLost"), 0);
    expectUnharmed(report);
}

// More connections than the daemon has descriptors for: it keeps enough
// for its own work, so a route that runs a program still answers.
TEST_F(ConnectionAbuseTest, AtTheOpenFileLimitProgramsStillRunForFreshRequests)
{
    const auto report = abuse({"--idle", "2000", "--drip", "40", "--hold", "8", "--probe", "/mode"});
    expectUnharmed(report);
}

} // namespace
} // namespace pemo::test
