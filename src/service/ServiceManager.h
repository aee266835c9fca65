#pragma once

#include "common/JSON.h"
#include "service/ServiceManagerException.h"
#include "service/ServiceManagerNotification.h"

#include <pemo/ServiceRegistryClient.h>
#include <pemo/Session.h>

#include <Poco/AutoPtr.h>
#include <Poco/Logger.h>
#include <Poco/Mutex.h>
#include <Poco/NamedEvent.h>
#include <Poco/Observer.h>
#include <Poco/Thread.h>
#include <Poco/Util/AbstractConfiguration.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace pemo {
namespace system {

/// Supervises the platform's other services as child processes: launches
/// the configured services in start order, relaunches those that exit,
/// stops them on request, publishes the overall state, tells every
/// registered service of each session change, and has them wipe, back up
/// or restore their data.
class ServiceManager
{
public:
    /// Manager-wide settings.
    struct Params
    {
        /// Where one maintenance operation keeps its archive, its staging
        /// directory and the external program it runs.
        struct Transfer
        {
            std::string file;
            std::string directory;
            std::string executable;
        };

        /// Time-out, in milliseconds, of each request sent to another service.
        std::uint32_t connection_timeout = 5000;
        Transfer backup{"/opt/tmp/backup.tar.bz2", "/opt/tmp/backup", "/usr/bin/pemo-system-backup"};
        Transfer restore{"/opt/tmp/restore.tar.bz2", "/opt/tmp/restore", "/usr/bin/pemo-system-restore"};

        Params() = default;
        /// Reads the keys present in config over the defaults; a null config
        /// keeps the defaults. Throws Poco::SyntaxException for a time-out
        /// that is not a number.
        explicit Params(const Poco::Util::AbstractConfiguration* config);
    };

    class ServiceImpl;
    class Monitor;

    /// The unit the monitor starts, waits on and stops.
    struct Bucket
    {
        using Vector = std::vector<Bucket>;

        std::shared_ptr<ServiceImpl> service;
        /// The start-up event of the current launch; empty between launches.
        std::shared_ptr<Poco::NamedEvent> event;
    };

    /// What the endpoints show of one service.
    struct Service
    {
        using Vector = std::vector<Service>;

        std::string name;
        bool enabled = false;
        bool running = false;

        template <class Archive>
        void serialize(Archive& ar)
        {
            ar(CEREAL_NVP(name), CEREAL_NVP(enabled), CEREAL_NVP(running));
        }
    };

    /// Outcomes of the maintenance operations (backup, wipe, restore).
    struct Health
    {
        struct BWRStats
        {
            std::chrono::system_clock::time_point last_success;
            std::chrono::system_clock::time_point last_failure;
            std::uint32_t successes = 0;
            std::uint32_t failures = 0;
        };

        BWRStats backup;
        BWRStats wipe;
        BWRStats restore;
    };

    /// Reads the manager's settings and every "services[i]" entry up to the
    /// first missing index, and orders them for start-up. Throws
    /// Poco::NotFoundException for an entry without "name" or "executable",
    /// Poco::SyntaxException for a malformed number or boolean.
    ServiceManager(Poco::AutoPtr<Poco::Util::AbstractConfiguration> config, pemo::ServiceRegistryClient& registry);
    virtual ~ServiceManager();

    ServiceManager(const ServiceManager&) = delete;
    ServiceManager& operator=(const ServiceManager&) = delete;

    /// Starts supervising on the manager's own thread.
    void start();
    /// Stops supervising: every service is stopped, last started first, and
    /// the thread is joined. Returns once every child has been reaped.
    void stop();

    /// Enables each named service in turn; the monitor's next pass launches
    /// it. Throws ServiceManagerException at the first unknown name, leaving
    /// the names before it enabled.
    void startServices(const std::vector<std::string>& names);
    /// Disables and stops each named service in turn, returning once each
    /// has ended or been killed. Throws ServiceManagerException at the first
    /// unknown name.
    void stopServices(const std::vector<std::string>& names);

    /// Every service, in start order.
    Service::Vector getServices() const;
    Health getHealth() const;

    /// Observers receive ServiceManagerNotification on the monitor's thread
    /// while it holds its lock: they must not call back into this manager.
    void addObserver(const Poco::AbstractObserver& observer);
    void removeObserver(const Poco::AbstractObserver& observer);

    /// Tell every registered service, and the registry, that session was
    /// created, selected or deleted. True when every address answered with a
    /// success status; an address that fails is logged and the others are
    /// still told. Never throws for a single address.
    bool createSession(std::shared_ptr<pemo::Session> session);
    bool selectSession(std::shared_ptr<pemo::Session> session);
    bool deleteSession(std::shared_ptr<pemo::Session> session);

    /// The maintenance operations below run one at a time; each run is
    /// counted as a success or a failure in getHealth().

    /// Tells every registered service, and the registry, to erase its user
    /// data. Throws ServiceManagerException when an address could not be
    /// told or refused; the others are still told.
    void wipe();

    /// Has every service place its data under backup.directory (named in the
    /// request as {"path": ...}), adds the version report
    /// "pemo-version.json", packs the directory into backup.file and hands
    /// that to backup.executable to encrypt and upload. The directory and the
    /// archive are removed afterwards, whether the backup succeeded or not.
    /// Throws ServiceManagerException naming the step that failed.
    void backup();

    /// Has restore.executable download and decrypt restore.file, unpacks it
    /// into restore.directory and tells every service to take its data from
    /// there ({"path": ...}). The directory and the archive are removed
    /// afterwards, whether the restore succeeded or not. Throws
    /// ServiceManagerException naming the step that failed.
    void restore();

private:
    static Bucket::Vector readBuckets(Poco::Util::AbstractConfiguration* config);
    bool tellServices(const std::string& path, const std::string& body, const std::string& logPrefix);
    void tellServicesOrThrow(const std::string& path, const std::string& body, const std::string& logPrefix,
                             const std::string& failure);
    void runTransferOperation(const std::string& name, const Params::Transfer& transfer,
                              Health::BWRStats Health::*stats, void (ServiceManager::*stage)());
    void stageBackup();
    void stageRestore();
    void count(Health::BWRStats Health::*stats, bool succeeded);

    Params _params;
    Poco::Logger& _logger;
    pemo::ServiceRegistryClient& _registry;
    std::shared_ptr<Monitor> _monitor;
    Poco::Thread _thread;
    mutable Poco::Mutex _mutex;
    Health _health;
    /// Serialises wipe, backup and restore: they share staging directories
    /// and the services' data.
    Poco::FastMutex _maintenanceMutex;
};

} // namespace system
} // namespace pemo
