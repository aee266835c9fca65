// What the system manager tells the device's services, end to end: session
// changes reach the demo services, and wipe, backup and restore run the
// simulator's transfer programs and are counted in the health report. The
// requests' bytes, the archives, the clean-up and every failure are pinned by
// the unit tests of the fan-out and of the maintenance operations.
#include "SharedDevice.h"

#include <Poco/JSON/Object.h>

#include <gtest/gtest.h>

namespace pemo::test {
namespace {

using Calls = std::vector<std::vector<std::string>>;

TEST(FanOutTest, EverySessionChangeReachesEveryDemoService)
{
    const HttpResponse created = sharedApi().get("/session/request");
    ASSERT_EQ(created.status, 200);
    const auto at = created.body.find("\"token\": \"") + 10;
    const std::string token = created.body.substr(at, created.body.find('"', at) - at);
    const std::string named = R"({"session": ")" + token + "\"}";
    EXPECT_EQ(sharedApi().post("/session/current", named).status, 204);
    EXPECT_EQ(sharedApi().post("/session/delete", named).status, 204);

    // A demo service's lines reach the log through the system manager, which
    // drains the service's output, so the last may land after the request returned.
    for (const std::string service : {"demo-alpha", "demo-beta"})
        for (const std::string change : {"new", "current", "deleted"})
        {
            const std::string line = service + " told of " + change + " session " + token;
            EXPECT_TRUE(eventually([&] { return !logLines(sharedDevice(), line).empty(); })) << line;
            EXPECT_EQ(logLines(sharedDevice(), line).size(), 1u) << line;
        }
}

std::vector<unsigned> counts(const std::string& operation)
{
    const HttpResponse health = sharedApi().get("/_M_/health");
    EXPECT_EQ(health.status, 200);
    const auto stats = parseObject(health.body)->getObject(operation);
    return {stats->getValue<unsigned>("successes"), stats->getValue<unsigned>("failures")};
}

// The simulator's restore program fails without an archive to hand over.
TEST(FanOutTest, MaintenanceRunsTheTransferProgramsWithTheConfiguredFilesAndIsCounted)
{
    const SimDevice& device = sharedDevice();
    device.clearCalls("pemo-system-backup");
    device.clearCalls("pemo-system-restore");
    const auto backup = counts("backup");
    const auto restore = counts("restore");
    const auto wipe = counts("wipe");

    EXPECT_EQ(sharedApi().post("/system/backup").status, 204);
    const HttpResponse restored = sharedApi().post("/system/restore");
    EXPECT_EQ(restored.status, 500);
    EXPECT_EQ(restored.reason, "Failed to do system restore");
    EXPECT_EQ(sharedApi().post("/system/wipe").status, 204);

    const std::vector<std::string> keys{"--credentials", "/var/pemo/credentials.json", "--keydir", "/var/pemo/keys",
                                        "--filename"};
    auto args = [&](const std::string& file, const std::string& crypt) {
        Calls calls{keys};
        calls[0].insert(calls[0].end(), {file, crypt});
        return calls;
    };
    EXPECT_EQ(device.calls("pemo-system-backup"), args("/opt/tmp/backup.tar.bz2", "--encrypt"));
    EXPECT_EQ(device.calls("pemo-system-restore"), args("/opt/tmp/restore.tar.bz2", "--decrypt"));
    EXPECT_EQ(counts("backup"), (std::vector<unsigned>{backup[0] + 1, backup[1]}));
    EXPECT_EQ(counts("restore"), (std::vector<unsigned>{restore[0], restore[1] + 1}));
    EXPECT_EQ(counts("wipe"), (std::vector<unsigned>{wipe[0] + 1, wipe[1]}));
}

} // namespace
} // namespace pemo::test
