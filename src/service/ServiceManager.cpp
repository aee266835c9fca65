#include "service/ServiceManager.h"

#include "service/Archive.h"
#include "service/ServiceFanOut.h"
#include "service/ServiceManagerMonitor.h"
#include "service/ServiceManagerServiceImpl.h"
#include "common/SystemUtil.h"

#include <Poco/Exception.h>
#include <Poco/File.h>
#include <Poco/FileStream.h>
#include <Poco/Format.h>
#include <Poco/NumberFormatter.h>
#include <Poco/Path.h>

#include <algorithm>
#include <cstdint>
#include <sstream>

namespace pemo {
namespace system {

namespace {

using Config = Poco::Util::AbstractConfiguration;

bool exists(const Config& config, const std::string& key)
{
    if (config.has(key))
        return true;
    Config::Keys subkeys;
    config.keys(key, subkeys);
    return !subkeys.empty();
}

// Ascending order; a service without "order" has the largest and so starts
// after every ordered one, and an empty bucket comes last of all. Equal
// orders promise no start order. Keyed on a wider type so that the empty
// bucket sorts after 0xFFFFFFFF: the comparison must stay a strict weak
// ordering, or std::sort may run past the end of the list.
std::uint64_t startKey(const ServiceManager::Bucket& bucket)
{
    return bucket.service ? bucket.service->order() : std::uint64_t(1) << 32;
}

bool startsBefore(const ServiceManager::Bucket& a, const ServiceManager::Bucket& b)
{
    return startKey(a) < startKey(b);
}

template <class Member>
std::string toJSON(Member&& member)
{
    std::ostringstream out;
    {
        cereal::JSONOutputArchive archive(out);
        archive(std::forward<Member>(member));
    }
    return out.str();
}

const std::string KEY_DIRECTORY("/var/pemo/keys");
const std::string CREDENTIALS_FILE("/var/pemo/credentials.json");

// What the transfer programs are told and what is said about them.
struct TransferTexts
{
    std::string cryptOption;
    std::string commandFailed;
    std::string done;
    std::string failure;
};

const TransferTexts UPLOAD{"--encrypt", "Uploading command failed (", "Uploaded backup file: ",
                           "Error uploading backup file"};
const TransferTexts DOWNLOAD{"--decrypt", "Downloading command failed (", "Downloaded restore file: ",
                             "Error downloading restore file"};

// A staging directory left over from an interrupted run must not leak into
// the next archive or the services' restored data.
void freshDirectory(const std::string& directory, const std::string& failure)
{
    try
    {
        Poco::File staging(directory);
        if (staging.exists())
            staging.remove(true);
        staging.createDirectories();
    }
    catch (const Poco::Exception& e)
    {
        throw ServiceManagerException(failure + e.displayText());
    }
}

// The transfer programs and the archive writer expect the archive's
// directory to be there; on a freshly wiped device it may not be.
void createParent(const std::string& file, const std::string& failure)
{
    try
    {
        Poco::File(Poco::Path(file).parent()).createDirectories();
    }
    catch (const Poco::Exception& e)
    {
        throw ServiceManagerException(failure + e.displayText());
    }
}

void writeVersionReport(const std::string& directory)
{
    const std::string path = directory + "/pemo-version.json";
    try
    {
        Poco::FileOutputStream out(path);
        {
            cereal::JSONOutputArchive archive(out);
            archive(cereal::make_nvp("version", version()));
        }
        out.close();
        if (!out.good())
            throw Poco::WriteFileException(path);
    }
    catch (const std::exception& e)
    {
        throw ServiceManagerException("Error serializing system version: " + describe(e));
    }
}

void runTransfer(const ServiceManager::Params::Transfer& transfer, const TransferTexts& texts,
                 const std::string& logPrefix, Poco::Logger& logger)
{
    const ProgramResult result =
        runProgram(transfer.executable, {"--credentials", CREDENTIALS_FILE, "--keydir", KEY_DIRECTORY, "--filename",
                                         transfer.file, texts.cryptOption});
    if (!result.succeeded())
    {
        logger.error(logPrefix + texts.commandFailed + Poco::NumberFormatter::format(result.exitCode) +
                     "): " + result.output);
        throw ServiceManagerException(texts.failure);
    }
    logger.information(logPrefix + texts.done + result.output);
}

void removeArtifacts(const ServiceManager::Params::Transfer& transfer, const std::string& failure)
{
    try
    {
        Poco::File staging(transfer.directory);
        if (staging.exists())
            staging.remove(true);
        Poco::File archive(transfer.file);
        if (archive.exists())
            archive.remove();
    }
    catch (const Poco::Exception& e)
    {
        throw ServiceManagerException(failure + e.displayText());
    }
}

// After a failure the operation's own error is what the caller hears; a
// leftover that cannot be removed now is renewed by the next run.
void discardArtifacts(const ServiceManager::Params::Transfer& transfer, const std::string& failure,
                      const std::string& logPrefix, Poco::Logger& logger)
{
    try
    {
        removeArtifacts(transfer, failure);
    }
    catch (const ServiceManagerException& e)
    {
        logger.warning(logPrefix + e.what() + "; left for the next run to replace");
    }
}

std::string pathBody(const std::string& directory)
{
    return toJSON(cereal::make_nvp("path", directory));
}

} // namespace

ServiceManager::Params::Params(const Config* config)
{
    if (!config)
        return;
    connection_timeout = config->getUInt("connection_timeout", connection_timeout);
    backup.file = config->getString("backup.file", backup.file);
    backup.directory = config->getString("backup.directory", backup.directory);
    backup.executable = config->getString("backup.executable", backup.executable);
    restore.file = config->getString("restore.file", restore.file);
    restore.directory = config->getString("restore.directory", restore.directory);
    restore.executable = config->getString("restore.executable", restore.executable);
}

ServiceManager::ServiceManager(Poco::AutoPtr<Config> config, pemo::ServiceRegistryClient& registry)
    : _params(config.get()),
      _logger(Poco::Logger::get("SystemManager.ServiceManager")),
      _registry(registry),
      _thread("ServiceMonitor")
{
    _monitor = std::make_shared<Monitor>(_params, readBuckets(config.get()));
}

// A manager released while still supervising stops first, so that no child
// is left running unwatched or unreaped.
ServiceManager::~ServiceManager()
{
    if (_thread.isRunning())
        stop();
}

ServiceManager::Bucket::Vector ServiceManager::readBuckets(Config* config)
{
    Bucket::Vector buckets;
    if (!config)
        return buckets;
    for (int i = 0;; ++i)
    {
        const std::string key = Poco::format("services[%d]", i);
        if (!exists(*config, key))
            break;
        buckets.push_back({std::make_shared<ServiceImpl>(config->createView(key).get()), nullptr});
    }
    std::sort(buckets.begin(), buckets.end(), startsBefore);
    return buckets;
}

void ServiceManager::start()
{
    _logger.trace("ServiceManager::start ");
    _thread.start(*_monitor);
}

void ServiceManager::stop()
{
    _logger.trace("ServiceManager::stop ");
    _monitor->cancel();
    _thread.join();
}

void ServiceManager::startServices(const std::vector<std::string>& names)
{
    for (const auto& name : names)
        _monitor->start(name);
}

void ServiceManager::stopServices(const std::vector<std::string>& names)
{
    for (const auto& name : names)
        _monitor->stop(name);
}

ServiceManager::Service::Vector ServiceManager::getServices() const
{
    return _monitor->getServices();
}

ServiceManager::Health ServiceManager::getHealth() const
{
    Poco::Mutex::ScopedLock lock(_mutex);
    return _health;
}

void ServiceManager::addObserver(const Poco::AbstractObserver& observer)
{
    _monitor->notifier.addObserver(observer);
}

void ServiceManager::removeObserver(const Poco::AbstractObserver& observer)
{
    _monitor->notifier.removeObserver(observer);
}

bool ServiceManager::createSession(std::shared_ptr<pemo::Session> session)
{
    const std::vector<pemo::Session> sessions{*session};
    return tellServices("/_M_/session", toJSON(cereal::make_nvp("sessions", sessions)),
                        "ServiceManager::createSession ");
}

bool ServiceManager::selectSession(std::shared_ptr<pemo::Session> session)
{
    return tellServices("/_M_/current-session", toJSON(cereal::make_nvp("session", *session)),
                        "ServiceManager::selectSession ");
}

bool ServiceManager::deleteSession(std::shared_ptr<pemo::Session> session)
{
    return tellServices("/_M_/delete-session", toJSON(cereal::make_nvp("session", *session)),
                        "ServiceManager::deleteSession ");
}

bool ServiceManager::tellServices(const std::string& path, const std::string& body, const std::string& logPrefix)
{
    return ServiceFanOut(_registry, _params.connection_timeout, _logger).post(path, body, logPrefix);
}

// A service that was not told keeps its data as it was, so the operation as
// a whole did not happen.
void ServiceManager::tellServicesOrThrow(const std::string& path, const std::string& body,
                                         const std::string& logPrefix, const std::string& failure)
{
    if (!tellServices(path, body, logPrefix))
        throw ServiceManagerException(failure);
}

void ServiceManager::wipe()
{
    _logger.trace("ServiceManager::wipe");
    Poco::FastMutex::ScopedLock lock(_maintenanceMutex);
    try
    {
        tellServicesOrThrow("/_M_/system/wipe", "{}", "ServiceManager::wipe ",
                            "Not every service acknowledged the wipe");
    }
    catch (const std::exception& e)
    {
        _logger.error("ServiceManager::wipe Failed to wipe: " + describe(e));
        count(&Health::wipe, false);
        throw;
    }
    count(&Health::wipe, true);
}

void ServiceManager::backup()
{
    _logger.trace("ServiceManager::backup");
    runTransferOperation("backup", _params.backup, &Health::backup, &ServiceManager::stageBackup);
}

// Backup and restore alike: one at a time, the staging directory and the
// archive removed whatever happened, and every run counted.
void ServiceManager::runTransferOperation(const std::string& name, const Params::Transfer& transfer,
                                          Health::BWRStats Health::*stats, void (ServiceManager::*stage)())
{
    Poco::FastMutex::ScopedLock lock(_maintenanceMutex);
    const std::string deleteFailure("Error deleting " + name + " artifacts: ");
    try
    {
        (this->*stage)();
        removeArtifacts(transfer, deleteFailure);
    }
    catch (...)
    {
        discardArtifacts(transfer, deleteFailure, "ServiceManager::" + name + " ", _logger);
        count(stats, false);
        throw;
    }
    count(stats, true);
}

void ServiceManager::stageBackup()
{
    const Params::Transfer& backup = _params.backup;
    freshDirectory(backup.directory, "Error creating new backup directory: ");
    createParent(backup.file, "Error creating new backup directory: ");
    writeVersionReport(backup.directory);
    tellServicesOrThrow("/_M_/system/backup", pathBody(backup.directory), "ServiceManager::backup ",
                        "Not every service acknowledged the backup");
    try
    {
        Archive::pack(backup.directory, backup.file);
    }
    catch (const Poco::Exception& e)
    {
        throw ServiceManagerException("Error archiving backup directory: " + e.displayText());
    }
    runTransfer(backup, UPLOAD, "ServiceManager::backup ", _logger);
}

void ServiceManager::restore()
{
    _logger.trace("ServiceManager::restore");
    runTransferOperation("restore", _params.restore, &Health::restore, &ServiceManager::stageRestore);
}

void ServiceManager::stageRestore()
{
    const Params::Transfer& restore = _params.restore;
    createParent(restore.file, "Error creating new restore directory: ");
    runTransfer(restore, DOWNLOAD, "ServiceManager::restore ", _logger);
    freshDirectory(restore.directory, "Error creating new restore directory: ");
    try
    {
        Archive::unpack(restore.file, restore.directory);
    }
    catch (const Poco::OpenFileException& e)
    {
        throw ServiceManagerException("failed to open restore file: " + e.message());
    }
    catch (const Poco::Exception& e)
    {
        throw ServiceManagerException("Error serializing directory: " + e.displayText());
    }
    tellServicesOrThrow("/_M_/system/restore", pathBody(restore.directory), "ServiceManager::restore ",
                        "Not every service acknowledged the restore");
}

void ServiceManager::count(Health::BWRStats Health::*stats, bool succeeded)
{
    const auto now = std::chrono::system_clock::now();
    Poco::Mutex::ScopedLock lock(_mutex);
    Health::BWRStats& record = _health.*stats;
    if (succeeded)
    {
        ++record.successes;
        record.last_success = now;
    }
    else
    {
        ++record.failures;
        record.last_failure = now;
    }
}

} // namespace system
} // namespace pemo
