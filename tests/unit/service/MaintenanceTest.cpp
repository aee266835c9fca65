#include "FakeHTTP.h"
#include "FakeServices.h"
#include "ScratchDir.h"

#include "common/SystemUtil.h"
#include "service/Archive.h"
#include "service/BackupHandler.h"
#include "service/RestoreHandler.h"
#include "service/ServiceManager.h"
#include "service/WipeHandler.h"

#include <Poco/File.h>

#include <gtest/gtest.h>

#include <fstream>
#include <mutex>
#include <sstream>

namespace pemo {
namespace system {
namespace {

using pemo::test::RecordingService;
using test::ScratchDir;
using Clock = std::chrono::system_clock;

std::string pathIn(const std::string& body)
{
    std::istringstream in(body);
    cereal::JSONInputArchive archive(in);
    std::string path;
    archive(cereal::make_nvp("path", path));
    return path;
}

// The transfer programs are scripts that keep their arguments and, for the
// backup, a copy of the archive they were handed; a service registered at
// the registry stores its data where the request says and reads it back on
// restore.
class MaintenanceTest : public ::testing::Test
{
protected:
    MaintenanceTest() : _path(_bin.path()), _registryClient("127.0.0.1", _registry.port())
    {
        _bin.script("pemo-version", "echo 4.2.0");
        _bin.script("backup", "printf '%s\\n' \"$@\" > " + _work.file("backup.args") + "\ncp \"$6\" " +
                                  _work.file("kept.tar.bz2") + "\necho sent");
        _bin.script("restore", "printf '%s\\n' \"$@\" > " + _work.file("restore.args") + "\ncp " +
                                   _work.file("prepared.tar.bz2") + " \"$6\"\necho fetched");
        _registry.setRecords({pemo::test::recordAt("svc", _service.port())});
        _service.onRequest([this](const pemo::test::ReceivedRequest& request) { actOn(request); });
    }

    std::shared_ptr<ServiceManager> manager(const std::string& backupProgram = "backup",
                                            const std::string& restoreProgram = "restore")
    {
        const std::string json = R"({"connection_timeout": 1000,
            "backup": {"file": ")" + backupFile() + R"(", "directory": ")" + backupDir() +
                                 R"(", "executable": ")" + _bin.file(backupProgram) + R"("},
            "restore": {"file": ")" + restoreFile() + R"(", "directory": ")" + restoreDir() +
                                 R"(", "executable": ")" + _bin.file(restoreProgram) + R"("}})";
        return std::make_shared<ServiceManager>(pemo::test::jsonConfig(json), _registryClient);
    }

    std::string backupFile() const { return _work.file("out/backup.tar.bz2"); }
    std::string backupDir() const { return _work.file("out/backup"); }
    std::string restoreFile() const { return _work.file("in/restore.tar.bz2"); }
    std::string restoreDir() const { return _work.file("in/restore"); }

    void prepareRestoreArchive(const std::string& data)
    {
        ScratchDir tree;
        Poco::File(tree.file("svc")).createDirectories();
        tree.write("svc/data.txt", data);
        // Made by tar, as the platform's programs make theirs: entries named "./svc/...".
        ASSERT_TRUE(runProgram("tar", {"-cjf", _work.file("prepared.tar.bz2"), "-C", tree.path(), "."}).succeeded());
    }

    std::string restoredData() const
    {
        std::lock_guard<std::mutex> lock(_mutex);
        return _restoredData;
    }

    void actOn(const pemo::test::ReceivedRequest& request)
    {
        if (request.path == "/_M_/system/backup")
        {
            const std::string dir = pathIn(request.body) + "/svc";
            Poco::File(dir).createDirectories();
            std::ofstream(dir + "/data.txt") << "service data";
        }
        else if (request.path == "/_M_/system/restore")
        {
            std::lock_guard<std::mutex> lock(_mutex);
            std::ifstream data(pathIn(request.body) + "/svc/data.txt", std::ios::binary);
            _restoredData.assign(std::istreambuf_iterator<char>(data), {});
        }
    }

    ScratchDir _bin;
    ScratchDir _work;
    test::PathPrefix _path;
    RecordingService _registry;
    RecordingService _service;
    pemo::ServiceRegistryClient _registryClient;
    mutable std::mutex _mutex;
    std::string _restoredData;
};

TEST_F(MaintenanceTest, BackupArchivesWhatTheServicesPlacedWithTheVersionAndHandsItOver)
{
    const auto services = manager();
    const auto before = Clock::now();
    services->backup();

    ASSERT_EQ(_service.requests().size(), 1u);
    const auto request = _service.requests()[0];
    EXPECT_EQ(request.path, "/_M_/system/backup");
    EXPECT_EQ(request.authentication, "wexlor");
    EXPECT_EQ(pathIn(request.body), backupDir());
    EXPECT_EQ(_registry.requests().size(), 1u);
    EXPECT_EQ(_work.read("backup.args"), "--credentials\n/var/pemo/credentials.json\n--keydir\n/var/pemo/keys\n"
                                         "--filename\n" + backupFile() + "\n--encrypt\n");
    EXPECT_FALSE(Poco::File(backupDir()).exists());
    EXPECT_FALSE(Poco::File(backupFile()).exists());

    Poco::File(_work.file("unpacked")).createDirectories();
    Archive::unpack(_work.file("kept.tar.bz2"), _work.file("unpacked"));
    EXPECT_EQ(_work.read("unpacked/svc/data.txt"), "service data");
    EXPECT_EQ(_work.read("unpacked/pemo-version.json"), "{\n    \"version\": \"4.2.0\"\n}");

    const auto health = services->getHealth();
    EXPECT_EQ(health.backup.successes, 1u);
    EXPECT_EQ(health.backup.failures, 0u);
    EXPECT_GE(health.backup.last_success, before);
    EXPECT_EQ(health.backup.last_failure, Clock::time_point());
    EXPECT_EQ(health.restore.successes + health.wipe.successes, 0u);
}

TEST_F(MaintenanceTest, AFailingUploadFailsTheBackupThroughItsEndpointAndCleansUp)
{
    _bin.script("broken-backup", "echo no network\nexit 3");
    const auto services = manager("broken-backup");
    Poco::File(backupDir() + "/stale").createDirectories();
    pemo::test::LogCapture managerLog("SystemManager.ServiceManager");
    pemo::test::LogCapture handlerLog("SystemManager.BackupHandler");
    BackupHandler handler(services);

    EXPECT_EQ(test::call(handler, "POST").text(), "500 Failed to do system backup\n");
    EXPECT_TRUE(managerLog.contains("ServiceManager::backup Uploading command failed (3): no network"));
    EXPECT_TRUE(handlerLog.contains("BackupHandler::post Error uploading backup file"));
    EXPECT_FALSE(Poco::File(backupDir()).exists());
    EXPECT_FALSE(Poco::File(backupFile()).exists());
    const auto health = services->getHealth();
    EXPECT_EQ(health.backup.failures, 1u);
    EXPECT_EQ(health.backup.successes, 0u);
    EXPECT_NE(health.backup.last_failure, Clock::time_point());
}

TEST_F(MaintenanceTest, RestoreUnpacksTheDownloadForTheServicesThroughItsEndpoint)
{
    prepareRestoreArchive("restored data");
    const auto services = manager();
    RestoreHandler handler(services);

    EXPECT_EQ(test::call(handler, "POST").status, Poco::Net::HTTPResponse::HTTP_NO_CONTENT);
    EXPECT_EQ(restoredData(), "restored data");
    ASSERT_EQ(_service.requests().size(), 1u);
    EXPECT_EQ(pathIn(_service.requests()[0].body), restoreDir());
    EXPECT_EQ(_work.read("restore.args"), "--credentials\n/var/pemo/credentials.json\n--keydir\n/var/pemo/keys\n"
                                          "--filename\n" + restoreFile() + "\n--decrypt\n");
    EXPECT_FALSE(Poco::File(restoreDir()).exists());
    EXPECT_FALSE(Poco::File(restoreFile()).exists());
    EXPECT_EQ(services->getHealth().restore.successes, 1u);
    EXPECT_EQ(services->getHealth().restore.failures, 0u);
}

TEST_F(MaintenanceTest, ARestoreThatCannotBeHadTellsNoServiceAndCountsAFailure)
{
    _bin.script("broken-restore", "echo not found\nexit 2");
    _bin.script("garbage-restore", "echo garbage > \"$6\"");
    pemo::test::LogCapture log("SystemManager.ServiceManager");
    const std::pair<std::string, std::string> cases[] = {{"broken-restore", "Error downloading restore file"},
                                                         {"garbage-restore", "failed to open restore file: "}};
    for (const auto& [program, error] : cases)
    {
        const auto services = manager("backup", program);
        try
        {
            services->restore();
            ADD_FAILURE() << program << " restored";
        }
        catch (const ServiceManagerException& e)
        {
            EXPECT_EQ(0u, std::string(e.what()).rfind(error, 0)) << e.what();
        }
        EXPECT_EQ(1u, services->getHealth().restore.failures) << program;
    }
    EXPECT_TRUE(log.contains("ServiceManager::restore Downloading command failed (2): not found"));
    EXPECT_TRUE(_service.requests().empty());
    EXPECT_FALSE(Poco::File(restoreFile()).exists());
}

TEST_F(MaintenanceTest, WipeReachesEveryAddressAndFailsWhenOneCannotBeTold)
{
    const auto services = manager();
    WipeHandler handler(services);

    EXPECT_EQ(test::call(handler, "POST").status, Poco::Net::HTTPResponse::HTTP_NO_CONTENT);
    ASSERT_EQ(_service.requests().size(), 1u);
    EXPECT_EQ(_service.requests()[0].path, "/_M_/system/wipe");
    EXPECT_EQ(_registry.requests().size(), 1u);

    _registry.setRecords({pemo::test::recordAt("svc", _service.port()), pemo::test::recordAt("gone", 1)});
    pemo::test::LogCapture log("SystemManager.ServiceManager");
    EXPECT_EQ(test::call(handler, "POST").text(), "500 Failed to do system wipe\n");
    EXPECT_TRUE(log.contains("ServiceManager::wipe Error sending request to 127.0.0.1:1"));
    EXPECT_TRUE(log.contains("ServiceManager::wipe Failed to wipe: "));
    EXPECT_EQ(_service.requests().size(), 2u) << "the reachable service is still told";
    const auto health = services->getHealth();
    EXPECT_EQ(health.wipe.successes, 1u);
    EXPECT_EQ(health.wipe.failures, 1u);
    EXPECT_GE(health.wipe.last_failure, health.wipe.last_success);
}

} // namespace
} // namespace system
} // namespace pemo
