// Wipe, backup and restore end to end: the system manager tells a recording
// service, archives the staging directory for the simulator's transfer
// programs (or failing stand-ins) and counts every run in its health report.
#include "ServiceFixtures.h"

#include <Poco/File.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>

#include <gtest/gtest.h>

namespace pemo::test {
namespace {

using Calls = std::vector<std::vector<std::string>>;

struct Counts
{
    unsigned successes = 0;
    unsigned failures = 0;
};

Counts counts(const SimDevice& device, const std::string& operation)
{
    const HttpResponse health = ApiClient(device.port(), device.token()).get("/_M_/health");
    EXPECT_EQ(health.status, 200);
    const auto report = Poco::JSON::Parser().parse(health.body).extract<Poco::JSON::Object::Ptr>();
    const auto stats = report->getObject(operation);
    return {stats->getValue<unsigned>("successes"), stats->getValue<unsigned>("failures")};
}

bool hasRequest(const SimDevice& device, const std::string& path, const std::string& body)
{
    for (const auto& request : recordedRequests(device, "keeper"))
    {
        if (request.rfind("POST " + path + " HTTP/1.1\r\n", 0) == 0 && bodyOf(request) == body)
            return true;
    }
    return false;
}

bool leftOnDevice(const SimDevice& device, const std::string& path)
{
    return Poco::File(device.statePath("device" + path)).exists();
}

class MaintenanceTest : public SharedServiceDeviceTest
{
protected:
    static void SetUpTestSuite()
    {
        startShared({recorderService("keeper", 1, 9121, {"keeper"})});
        eventually([] { return systemLog(*device).find("Got startup event from keeper") != std::string::npos; });
    }
};

TEST_F(MaintenanceTest, BackupHandsTheArchiveToTheProgramAndLeavesNothingBehind)
{
    device->clearCalls("pemo-system-backup");
    const Counts before = counts(*device, "backup");

    const HttpResponse r = api().post("/system/backup");

    EXPECT_EQ(r.status, 204) << r.reason;
    EXPECT_EQ(device->calls("pemo-system-backup"),
              (Calls{{"--credentials", "/var/pemo/credentials.json", "--keydir", "/var/pemo/keys", "--filename",
                      "/opt/tmp/backup.tar.bz2", "--encrypt"}}));
    EXPECT_TRUE(hasRequest(*device, "/_M_/system/backup", "{\n    \"path\": \"/opt/tmp/backup\"\n}"));
    EXPECT_FALSE(leftOnDevice(*device, "/opt/tmp/backup"));
    EXPECT_FALSE(leftOnDevice(*device, "/opt/tmp/backup.tar.bz2"));
    EXPECT_NE(systemLog(*device).find("ServiceManager::backup Uploaded backup file: "), std::string::npos);
    const Counts after = counts(*device, "backup");
    EXPECT_EQ(after.successes, before.successes + 1);
    EXPECT_EQ(after.failures, before.failures);
}

TEST_F(MaintenanceTest, RestoreFailsWithoutADownloadAndTellsTheServicesWithOne)
{
    const Counts before = counts(*device, "restore");
    const HttpResponse missing = api().post("/system/restore");
    EXPECT_EQ(missing.status, 500);
    EXPECT_EQ(missing.reason, "Failed to do system restore");
    EXPECT_NE(systemLog(*device).find("Downloading command failed (1): no backup to restore"), std::string::npos);
    EXPECT_FALSE(hasRequest(*device, "/_M_/system/restore", "{\n    \"path\": \"/opt/tmp/restore\"\n}"));

    device->writeStateFile("restore-tree/keeper/data.txt", "kept by keeper\n");
    const ExecResult packed = device->exec({"tar", "-cjf", "/run/pemo-sim/platform/restore.tar.bz2", "-C",
                                            "/run/pemo-sim/restore-tree", "."});
    ASSERT_EQ(packed.status, 0) << packed.output;
    device->clearCalls("pemo-system-restore");

    const HttpResponse r = api().post("/system/restore");

    EXPECT_EQ(r.status, 204) << r.reason;
    EXPECT_EQ(device->calls("pemo-system-restore"),
              (Calls{{"--credentials", "/var/pemo/credentials.json", "--keydir", "/var/pemo/keys", "--filename",
                      "/opt/tmp/restore.tar.bz2", "--decrypt"}}));
    EXPECT_TRUE(hasRequest(*device, "/_M_/system/restore", "{\n    \"path\": \"/opt/tmp/restore\"\n}"));
    EXPECT_FALSE(leftOnDevice(*device, "/opt/tmp/restore"));
    EXPECT_FALSE(leftOnDevice(*device, "/opt/tmp/restore.tar.bz2"));
    const Counts after = counts(*device, "restore");
    EXPECT_EQ(after.successes, before.successes + 1);
    EXPECT_EQ(after.failures, before.failures + 1);
}

TEST_F(MaintenanceTest, WipeTellsTheServices)
{
    const Counts before = counts(*device, "wipe");

    const HttpResponse r = api().post("/system/wipe");

    EXPECT_EQ(r.status, 204) << r.reason;
    EXPECT_TRUE(hasRequest(*device, "/_M_/system/wipe", "{}"));
    EXPECT_EQ(counts(*device, "wipe").successes, before.successes + 1);
}

TEST(MaintenanceFailureTest, AFailingBackupProgramIsA500AndCountedAsAFailure)
{
    TempDir overlay;
    TempDir configDir;
    overlay.write("usr/bin/pemo-system-backup", "#!/bin/bash\n. /usr/lib/pemo-sim/fake.sh\necho upload refused\nexit 4\n",
                  0755);
    const auto device = startDevice({}, {}, overlay, configDir);

    const HttpResponse r = ApiClient(device->port(), device->token()).post("/system/backup");

    EXPECT_EQ(r.status, 500);
    EXPECT_EQ(r.reason, "Failed to do system backup");
    EXPECT_TRUE(r.body.empty());
    EXPECT_EQ(device->calls("pemo-system-backup").size(), 1u);
    const std::string log = systemLog(*device);
    EXPECT_NE(log.find("ServiceManager::backup Uploading command failed (4): upload refused"), std::string::npos);
    EXPECT_NE(log.find("BackupHandler::post Error uploading backup file"), std::string::npos);
    EXPECT_FALSE(leftOnDevice(*device, "/opt/tmp/backup.tar.bz2"));
    const Counts backup = counts(*device, "backup");
    EXPECT_EQ(backup.successes, 0u);
    EXPECT_EQ(backup.failures, 1u);
    EXPECT_EQ(device->stop(), 0);
}

} // namespace
} // namespace pemo::test
