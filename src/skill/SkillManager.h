#pragma once

#include "skill/Skill.h"

#include <pemo/ServiceRegistryClient.h>
#include <pemo/SystemNotificationClient.h>

#include <Poco/AutoPtr.h>
#include <Poco/Logger.h>
#include <Poco/Mutex.h>
#include <Poco/AbstractObserver.h>
#include <Poco/Thread.h>
#include <Poco/Util/AbstractConfiguration.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace pemo {
namespace system {

class SessionManager;
class ServiceManagerNotification;

/// The catalogue of installed skills and the launcher of their processes.
///
/// A skill is a directory holding a package.json, found in one of the
/// configured search directories. The catalogue is rebuilt by scanning on
/// every list() and refresh(), so installing or deleting a skill needs no
/// notice. A launched skill runs the configured runtime as the user that
/// the current operating mode names, under a session of its own; the
/// monitor thread reaps it when it ends, deletes the session and announces
/// the exit.
///
/// Every operation is thread-safe: they share one recursive mutex with the
/// monitor, which holds it for each of its passes (one a second).
class SkillManager
{
public:
    /// The launch identity of one operating mode.
    struct Mode
    {
        Mode();
        explicit Mode(const std::string& user);
        /// Reads "user" (default empty).
        explicit Mode(const Poco::Util::AbstractConfiguration& config);

        std::string user;
    };

    /// The manager's configuration.
    struct Params
    {
        struct SearchPaths
        {
            /// Installed skills.
            std::vector<std::string> pemo;
            /// Skills under development; searched after pemo.
            std::vector<std::string> devs;
        };

        /// Reads "executable" (required: throws Poco::NotFoundException when
        /// missing), "arguments[i]", "environment.*", "path.pemo[i]",
        /// "path.devs[i]" and "modes.<name>.user".
        explicit Params(Poco::Util::AbstractConfiguration& config);

        std::string executable;
        /// Not read from the configuration: the mode decides who a skill runs as.
        std::string user;
        std::string group;
        std::vector<std::string> arguments;
        std::map<std::string, std::string> environment;
        SearchPaths path;
        std::unordered_map<std::string, Mode> modes;
    };

    struct LaunchArgs
    {
        std::string name;
        /// Opaque to the manager; the skill gets it as its last argument.
        std::string context;
    };

    class SkillImpl;
    class Monitor;

    struct Bucket
    {
        std::shared_ptr<SkillImpl> skill;
    };

    using Buckets = std::unordered_map<std::string, Bucket>;

    /// Reads the configuration and prepares the monitor; scans nothing yet.
    /// sessionManager may be null: launches then fail. registryClient and
    /// notificationClient must outlive the manager. Throws
    /// Poco::NotFoundException without an "executable".
    SkillManager(Poco::AutoPtr<Poco::Util::AbstractConfiguration> config,
                 std::shared_ptr<SessionManager> sessionManager, pemo::ServiceRegistryClient& registryClient,
                 pemo::SystemNotificationClient& notificationClient);
    /// Stops the monitor if it still runs.
    virtual ~SkillManager();

    SkillManager(const SkillManager&) = delete;
    SkillManager& operator=(const SkillManager&) = delete;

    /// Scans, then starts the monitor thread.
    void start();
    /// Stops the monitor: every running skill is sent SIGTERM and waited
    /// for, however long that takes, and its exit announced.
    void stop();

    /// Rescans the search directories. Never fails for a bad skill or
    /// directory: those are logged and skipped.
    void refresh();
    /// Rescans, then fills out with every catalogued skill in byte-wise
    /// order of name.
    void list(std::vector<Skill>& out);

    /// Starts the named skill under a new session. False when it is already
    /// running or no session could be made. Throws SkillManagerException
    /// ("Unknown skill: ", "Broken skill state: ", "Unknown mode: " or
    /// "Failed to launch ...") and lets a session manager failure pass.
    bool launch(const LaunchArgs& args);
    /// Sends SIGTERM to the named skill and ends its session; the monitor
    /// reaps and announces it. Throws SkillManagerException ("Unknown
    /// skill: ", "Broken skill state: ", "Skill is not running: ").
    bool terminate(const std::string& name);

    /// Not supported yet; always false.
    bool install();
    /// Not supported yet; always false.
    bool update();
    /// Not supported yet; always false.
    bool remove();

    /// Observer of the service supervisor's state; the skills do not react
    /// to it yet.
    void onServiceNotify(const Poco::AutoPtr<ServiceManagerNotification>& notification);

    /// Observers receive a SkillManagerNotification for every start (on the
    /// launching thread) and exit (on the monitor's thread).
    void addObserver(const Poco::AbstractObserver& observer);
    void removeObserver(const Poco::AbstractObserver& observer);

private:
    std::vector<std::string> searchDirectories() const;
    void scanDirectory(const std::string& directory, const std::vector<std::string>& searchDirectories,
                       std::set<std::string>& stale);
    bool isSkillDirectory(const std::string& entry, const std::string& directory, const std::string& path,
                          const std::vector<std::string>& searchDirectories);
    void catalogue(const std::string& root, std::set<std::string>& stale);
    Bucket& findBucket(const std::string& name);
    void notifyStart(Bucket& bucket);

    Params _params;
    std::shared_ptr<SessionManager> _sm;
    pemo::ServiceRegistryClient& _registryClient;
    pemo::SystemNotificationClient& _snc;
    Poco::Logger& _logger;
    Poco::Mutex _mutex;
    Buckets _buckets;
    std::shared_ptr<Monitor> _monitor;
    Poco::Thread _thread;
};

} // namespace system
} // namespace pemo
