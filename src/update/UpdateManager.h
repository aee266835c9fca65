#pragma once

#include "skill/Skill.h"
#include "update/Update.h"

#include <pemo/ThreadedSubsystem.h>

#include <Poco/AutoPtr.h>
#include <Poco/Event.h>
#include <Poco/Logger.h>
#include <Poco/Util/AbstractConfiguration.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace pemo {
namespace system {

class SkillManager;
class StorageManager;
class SystemNotifier;

/// What a get step found.
struct GetUpdateResult
{
    bool success = false;
    std::vector<Update> updates;
    /// Why it failed; empty on success.
    std::string reason;
};

/// What an apply step did.
struct ApplyUpdateResult
{
    bool success = false;
    /// Why it failed; empty on success.
    std::string reason;
};

/// The device's over-the-air update pipeline: asks the update service what
/// each configured subsystem may get (get), fetches chosen updates to /opt
/// (download) and installs chosen downloaded updates in dependency order
/// (apply), each through its external program. One step runs at a time: a
/// step that cannot have the lock within 200 ms is refused with "Service
/// temporarily unavailable" rather than queued. No step throws for a
/// failing program; failures come back as reason texts.
class UpdateManager : public pemo::ThreadedSubsystem
{
public:
    enum class VersionCheckMethod
    {
        BOOTLOADER = 0,
        OS = 1,
        SERVICES = 2,
        SKILL = 3
    };

    struct SubsystemConfig
    {
        VersionCheckMethod checkMethod = VersionCheckMethod::BOOTLOADER;
        Update::ApplyMethod applyMethod = Update::ApplyMethod::SYSTEM;
        unsigned defaultOrder = 0;
    };

    /// name is the logger's and the subsystem's name. config is the
    /// "SystemManager.update" view, whose "subsystems" subtree names each
    /// subsystem with its "version_check", "apply_method" and
    /// "default_order". Throws std::logic_error "UpdateManager: invalid
    /// version_check in config" or "UpdateManager: invalid apply_method in
    /// config" for an unknown value, and Poco::NotFoundException or
    /// Poco::SyntaxException for a missing or malformed key.
    UpdateManager(const std::string& name, Poco::AutoPtr<Poco::Util::AbstractConfiguration> config,
                  std::shared_ptr<SkillManager> skill, std::shared_ptr<StorageManager> storage,
                  std::shared_ptr<SystemNotifier> notifier);
    ~UpdateManager() override;

    /// The get step: asks the update service for every configured subsystem
    /// and replaces the known updates, keeping the downloaded mark of those
    /// known before. Without the credentials file nothing changes and the
    /// old list is the answer. When a subsystem's version cannot be found
    /// the step fails with that reason ("Could not read OS version") and the
    /// list stays as it was. An offer whose download would land outside
    /// "/opt/ota/" is dropped (and logged).
    GetUpdateResult getUpdates(const std::string& filter);

    /// The download step. On failure writes one of the canned JSON objects
    /// {"error": ...} to out; nothing on success.
    void downloadUpdates(const std::vector<std::string>& ids, std::ostream& out);

    /// The apply step: installs the given downloaded updates in installOrder(),
    /// stopping at the first failing install.
    ApplyUpdateResult applyUpdates(std::vector<std::string> ids);

    /// The current version of subsystem found by method. Throws
    /// std::runtime_error when a version program fails or prints no version.
    std::string getVersion(const std::string& subsystem, VersionCheckMethod method) const;

    const std::map<std::string, SubsystemConfig>& subsystems() const { return _subsystems; }

protected:
    void initialize(Poco::Util::Application& app) override;
    void uninitialize() override;
    void defineOptions(Poco::Util::OptionSet& options) override;
    void run() override;
    void onStopRequested() override;

private:
    using Lock = std::unique_lock<std::timed_mutex>;

    bool lock(Lock& lock);
    /// Throws std::runtime_error when a subsystem's version cannot be found:
    /// its downloaded updates must not be lost from the list.
    void checkForUpdates(Lock& lock, const std::string& filter);
    bool readUpdates(const std::string& subsystem, const std::string& output, const std::string& filter,
                     std::vector<Update>& found);
    void reportGetError(const std::string& subsystem, int code, const std::string& output);
    void replaceUpdates(std::vector<Update> found);
    bool optFreeBytes(std::uint64_t& free) const;
    Update* find(const std::string& id);
    void download(Update& update);
    std::string apply(const std::vector<std::string>& ids);
    std::string checkDependencies(const std::vector<Update>& selected,
                                  const std::map<std::string, std::string>& current) const;
    bool applySystemUpdates(const std::vector<Update>& updates);
    std::string installTarget(const Update& update) const;
    /// The catalogued skill called name, if there is one.
    bool installedSkill(const std::string& name, Skill& found) const;

    std::string _name;
    std::shared_ptr<SkillManager> _skill;
    std::shared_ptr<StorageManager> _storage;
    std::shared_ptr<SystemNotifier> _notifier;
    Poco::Logger& _logger;
    std::timed_mutex _mutex;
    std::map<std::string, SubsystemConfig> _subsystems;
    std::vector<Update> _updates;
    Poco::Event _stopped;
};

/// The operating system's release ("1.9.3") from "/usr/bin/pemo-version".
/// Throws std::runtime_error "Could not read OS version" when the program
/// fails, "Could not parse OS version 2" when its output does not match.
std::string osVersion();

/// The services' release from "/usr/local/bin/pemo-service-version"; the
/// same failures with "services" for "OS".
std::string servicesVersion();

} // namespace system
} // namespace pemo
