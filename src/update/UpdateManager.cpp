#include "update/UpdateManager.h"

#include "common/OutsideJSON.h"
#include "common/SystemUtil.h"
#include "skill/SkillManager.h"
#include "storage/StorageManager.h"

#include <Poco/File.h>
#include <Poco/Path.h>
#include <Poco/RegularExpression.h>

#include <algorithm>
#include <chrono>
#include <sstream>
#include <stdexcept>

namespace pemo {
namespace system {

namespace {

const std::string CREDENTIALS_FILE = "/var/pemo/credentials.json";
const std::string GET_PROGRAM = "/usr/bin/pemo-get-update";
const std::string DOWNLOAD_PROGRAM = "/usr/bin/pemo-download-update";
const std::string APPLY_PROGRAM = "/usr/bin/pemo-apply-update";
const std::string UNAVAILABLE = "Service temporarily unavailable";
const std::string UNKNOWN_UPDATE = "Unknown update requested";
const std::string NO_SPACE = "Insufficient temporary storage available";
const std::string INTERNAL_ERROR = "Internal error";
const std::chrono::milliseconds LOCK_WAIT(200);

std::string canned(const std::string& error)
{
    return "{\"error\":\"" + error + "\"}";
}

std::string releaseOf(const std::string& program, const std::string& pattern, const std::string& what)
{
    const ProgramResult result = runProgram(program, {});
    if (!result.succeeded())
        throw std::runtime_error("Could not read " + what + " version");
    std::vector<std::string> parts;
    if (Poco::RegularExpression(pattern).split(result.output, parts) == 0)
        throw std::runtime_error("Could not parse " + what + " version 2");
    if (parts.size() != 2)
        throw std::runtime_error("Could not parse " + what + " version");
    return parts[1];
}

UpdateManager::VersionCheckMethod checkMethodOf(const std::string& value)
{
    static const std::map<std::string, UpdateManager::VersionCheckMethod> methods{
        {"bootloader", UpdateManager::VersionCheckMethod::BOOTLOADER},
        {"os", UpdateManager::VersionCheckMethod::OS},
        {"services", UpdateManager::VersionCheckMethod::SERVICES},
        {"skill", UpdateManager::VersionCheckMethod::SKILL}};
    const auto it = methods.find(value);
    if (it == methods.end())
        throw std::logic_error("UpdateManager: invalid version_check in config");
    return it->second;
}

Update::ApplyMethod applyMethodOf(const std::string& value)
{
    if (value == "system")
        return Update::ApplyMethod::SYSTEM;
    if (value == "skill")
        return Update::ApplyMethod::SKILL;
    throw std::logic_error("UpdateManager: invalid apply_method in config");
}

} // namespace

std::string osVersion()
{
    return releaseOf("/usr/bin/pemo-version", "^Pemo Release Version: Release-(\\d+\\.\\d+\\.\\d+).*$", "OS");
}

std::string servicesVersion()
{
    return releaseOf("/usr/local/bin/pemo-service-version", "^Pemo Service Version: Release-(\\d+\\.\\d+\\.\\d+).*$",
                     "services");
}

UpdateManager::UpdateManager(const std::string& name, Poco::AutoPtr<Poco::Util::AbstractConfiguration> config,
                             std::shared_ptr<SkillManager> skill, std::shared_ptr<StorageManager> storage,
                             std::shared_ptr<SystemNotifier> notifier)
    : pemo::ThreadedSubsystem(name), _name(name), _skill(std::move(skill)), _storage(std::move(storage)),
      _notifier(std::move(notifier)), _logger(Poco::Logger::get(name)), _stopped(Poco::Event::EVENT_MANUALRESET)
{
    Poco::Util::AbstractConfiguration::Keys names;
    config->keys("subsystems", names);
    for (const auto& subsystem : names)
    {
        const std::string prefix = "subsystems." + subsystem + ".";
        SubsystemConfig entry;
        entry.checkMethod = checkMethodOf(config->getString(prefix + "version_check"));
        entry.applyMethod = applyMethodOf(config->getString(prefix + "apply_method"));
        entry.defaultOrder = config->getUInt(prefix + "default_order");
        _subsystems[subsystem] = entry;
    }
}

UpdateManager::~UpdateManager()
{
    stop();
}

void UpdateManager::initialize(Poco::Util::Application&) {}
void UpdateManager::uninitialize() {}
void UpdateManager::defineOptions(Poco::Util::OptionSet&) {}

// Every step runs on the caller's thread; the subsystem's own thread only
// waits to be stopped.
void UpdateManager::run()
{
    _stopped.wait();
}

void UpdateManager::onStopRequested()
{
    _stopped.set();
}

bool UpdateManager::lock(Lock& lock)
{
    lock = Lock(_mutex, std::defer_lock);
    return lock.try_lock_for(LOCK_WAIT);
}

std::string UpdateManager::getVersion(const std::string& subsystem, VersionCheckMethod method) const
{
    switch (method)
    {
    case VersionCheckMethod::BOOTLOADER:
        return "0.1.0";
    case VersionCheckMethod::OS:
        return osVersion();
    case VersionCheckMethod::SERVICES:
        return servicesVersion();
    case VersionCheckMethod::SKILL:
        break;
    }
    Skill skill;
    return installedSkill(subsystem, skill) ? skill.version : "0.0.0";
}

bool UpdateManager::installedSkill(const std::string& name, Skill& found) const
{
    std::vector<Skill> skills;
    if (_skill)
        _skill->list(skills);
    for (const auto& skill : skills)
    {
        if (skill.name == name)
        {
            found = skill;
            return true;
        }
    }
    return false;
}

GetUpdateResult UpdateManager::getUpdates(const std::string& filter)
{
    _logger.trace("UpdateManager::getUpdates");
    GetUpdateResult result;
    Lock held;
    if (!lock(held))
    {
        result.reason = UNAVAILABLE;
        return result;
    }
    try
    {
        checkForUpdates(held, filter);
    }
    catch (const std::runtime_error& e)
    {
        _logger.error(std::string("UpdateManager::getUpdates ") + e.what() + "; the list stays as it was");
        result.reason = e.what();
        return result;
    }
    result.success = true;
    result.updates = _updates;
    return result;
}

// lock is held throughout: the caller copies the list under it.
void UpdateManager::checkForUpdates(Lock&, const std::string& filter)
{
    if (!Poco::File(CREDENTIALS_FILE).exists())
    {
        _logger.warning("No credentials file");
        return;
    }
    std::vector<Update> found;
    for (const auto& [subsystem, config] : _subsystems)
    {
        const std::string version = getVersion(subsystem, config.checkMethod);
        const ProgramResult result = runProgram(GET_PROGRAM, {"--credentials", CREDENTIALS_FILE, "--subsystem", subsystem,
                                                              "--version", version, "--filter", filter});
        if (result.exitCode == 0)
        {
            _logger.information("got updates: " + result.output);
            readUpdates(subsystem, result.output, filter, found);
        }
        else
        {
            reportGetError(subsystem, result.exitCode, result.output);
        }
    }
    replaceUpdates(std::move(found));
}

bool UpdateManager::readUpdates(const std::string& subsystem, const std::string& output, const std::string& filter,
                                std::vector<Update>& found)
{
    const SubsystemConfig& config = _subsystems.at(subsystem);
    try
    {
        std::istringstream in(OutsideJSON::check(output));
        cereal::JSONInputArchive archive(in);
        cereal::size_type count = 0;
        archive(cereal::make_size_tag(count));
        for (cereal::size_type i = 0; i < count; ++i)
        {
            Update update;
            std::string dependencyError;
            archive.startNode();
            loadUpdate(archive, update, dependencyError);
            archive.finishNode();
            if (!dependencyError.empty())
                _logger.error(dependencyError);
            if (!update.staysInDownloadDirectory())
            {
                _logger.error("Dropping update " + update.id + " of " + subsystem + ": its download " +
                              update.destination() + " would not lie directly in /opt/ota/");
                continue;
            }
            update.applyMethod = config.applyMethod;
            update.defaultOrder = config.defaultOrder;
            update.filter = filter;
            found.push_back(std::move(update));
        }
        return true;
    }
    catch (const std::exception& e)
    {
        _logger.error("Could not read the updates of " + subsystem + ": " + describe(e) + "; none are listed for it");
        return false;
    }
}

void UpdateManager::reportGetError(const std::string& subsystem, int code, const std::string& output)
{
    _logger.warning("get updates error: subsystem=" + subsystem + ", code=" + std::to_string(code) + ", data=" + output);
    std::string message;
    std::string errorCode;
    try
    {
        std::istringstream in(OutsideJSON::check(output));
        cereal::JSONInputArchive archive(in);
        archive.setNextName("error");
        archive.startNode();
        archive(cereal::make_nvp("message", message), cereal::make_nvp("code", errorCode));
        archive.finishNode();
    }
    catch (const std::exception& e)
    {
        _logger.error("Error retrieving " + subsystem + " updates: " + describe(e));
        return;
    }
    if (errorCode == "UPDATE_NOT_FOUND")
        _logger.information("No updates for " + subsystem + " subsystem");
    else
        _logger.error("Error retrieving " + subsystem + " updates: " + message);
}

void UpdateManager::replaceUpdates(std::vector<Update> found)
{
    for (auto& update : found)
    {
        if (const Update* known = find(update.id))
            update.downloaded = known->downloaded;
        else
            _logger.information("New update: " + update.id);
    }
    for (const auto& known : _updates)
    {
        const bool kept = std::any_of(found.begin(), found.end(), [&](const Update& u) { return u.id == known.id; });
        if (!kept)
            _logger.information("Lost update: " + known.id);
    }
    _updates = std::move(found);
}

Update* UpdateManager::find(const std::string& id)
{
    for (auto& update : _updates)
    {
        if (update.id == id)
            return &update;
    }
    return nullptr;
}

bool UpdateManager::optFreeBytes(std::uint64_t& free) const
{
    if (!_storage)
        return false;
    // A mount over an earlier one hides it, so the last "/opt" of the table
    // is the one the downloads land on.
    bool found = false;
    try
    {
        for (const auto& mount : _storage->getMounts())
        {
            if (mount.path == "/opt")
            {
                free = mount.free;
                found = true;
            }
        }
    }
    catch (const std::exception& e)
    {
        _logger.error("Could not read the mount table: " + std::string(e.what()));
        return false;
    }
    return found;
}

void UpdateManager::downloadUpdates(const std::vector<std::string>& ids, std::ostream& out)
{
    _logger.trace("UpdateManager::downloadUpdates");
    Lock held;
    if (!lock(held))
    {
        out << canned(UNAVAILABLE);
        return;
    }
    std::uint64_t free = 0;
    if (!optFreeBytes(free))
    {
        out << canned(INTERNAL_ERROR);
        return;
    }
    std::vector<Update*> requested;
    std::uint32_t total = 0;
    for (const auto& id : ids)
    {
        Update* update = find(id);
        if (!update)
        {
            out << canned(UNKNOWN_UPDATE);
            return;
        }
        requested.push_back(update);
        total += update->length;
    }
    // Room for the archive and for its unpacking.
    if (!fitsInFreeSpace(free, total, 2))
    {
        out << canned(NO_SPACE);
        return;
    }
    for (Update* update : requested)
        download(*update);
}

void UpdateManager::download(Update& update)
{
    const std::string destination = update.destination();
    try
    {
        Poco::File(Poco::Path(destination).parent()).createDirectories();
    }
    catch (const Poco::Exception& e)
    {
        _logger.error("error in " + update.id + ": cannot create the directory of " + destination + ": " +
                      e.displayText());
        return;
    }
    const ProgramResult result = runProgram(DOWNLOAD_PROGRAM, {"--id", update.id, "--url", update.url, "--destination",
                                                               destination, "--shasum", update.shaHash});
    if (result.exitCode != 0)
    {
        _logger.error("error in " + update.id + ": " + std::to_string(result.exitCode));
        return;
    }
    update.downloaded = true;
    _logger.debug("downloaded update: " + update.id);
}

ApplyUpdateResult UpdateManager::applyUpdates(std::vector<std::string> ids)
{
    _logger.trace("UpdateManager::applyUpdates");
    ApplyUpdateResult result;
    Lock held;
    if (!lock(held))
    {
        result.reason = UNAVAILABLE;
        return result;
    }
    try
    {
        result.reason = apply(ids);
    }
    catch (const std::exception& e)
    {
        _logger.error("apply system updates failed: " + std::string(e.what()));
        result.reason = INTERNAL_ERROR;
    }
    result.success = result.reason.empty();
    return result;
}

// The apply step under the lock: the reason it fails, or empty once every
// update is installed. Throws for what has no reason text of its own.
std::string UpdateManager::apply(const std::vector<std::string>& ids)
{
    std::uint64_t free = 0;
    if (!optFreeBytes(free))
        return INTERNAL_ERROR;
    std::map<std::string, std::string> current;
    for (const auto& [subsystem, config] : _subsystems)
        current[subsystem] = getVersion(subsystem, config.checkMethod);

    std::vector<Update> selected;
    std::uint32_t total = 0;
    for (const auto& id : ids)
    {
        const Update* update = find(id);
        if (!update)
            return UNKNOWN_UPDATE;
        if (!update->downloaded)
            return "Update not downloaded";
        const bool duplicate = std::any_of(selected.begin(), selected.end(),
                                           [&](const Update& other) { return indistinguishable(other, *update); });
        if (duplicate)
            return "Duplicate update specified";
        selected.push_back(*update);
        total += update->length;
    }
    const std::string unmet = checkDependencies(selected, current);
    if (!unmet.empty())
        return unmet;
    if (!fitsInFreeSpace(free, total, 1))
        return NO_SPACE;
    if (!applySystemUpdates(installOrder(selected)))
        return "Update initiation error";
    return std::string();
}

std::string UpdateManager::checkDependencies(const std::vector<Update>& selected,
                                             const std::map<std::string, std::string>& current) const
{
    for (const auto& update : selected)
    {
        for (const auto& dependency : update.dependencies)
        {
            // Named copies: a lambda cannot capture structured bindings in C++17.
            const std::string& subsystem = dependency.first;
            const std::string& version = dependency.second;
            const bool inSet = std::any_of(selected.begin(), selected.end(), [&](const Update& other) {
                return other.subsystem == subsystem && other.toVersion == version;
            });
            const auto installed = current.find(subsystem);
            if (!inSet && (installed == current.end() || installed->second != version))
                return "Dependency " + subsystem + " == " + version + " not satisfied";
        }
    }
    return std::string();
}

std::string UpdateManager::installTarget(const Update& update) const
{
    if (update.applyMethod == Update::ApplyMethod::SYSTEM)
        return "/dev/null";
    Skill skill;
    return installedSkill(update.subsystem, skill) ? skill.path : "/opt/pemo/Pemo/Skills/" + update.subsystem;
}

bool UpdateManager::applySystemUpdates(const std::vector<Update>& updates)
{
    _logger.information("apply system updates: " + std::to_string(updates.size()));
    for (const auto& update : updates)
    {
        const ProgramResult result =
            runProgram(APPLY_PROGRAM,
                       {"--source", update.destination(), "--subsystem", update.subsystem, "--from",
                        update.fromVersion, "--to", update.toVersion, "--destination", installTarget(update),
                        "--filter", update.filter},
                       ProgramEnvironment{{"DISPLAY", ":0"}, {"XAUTHORITY", "/tmp/.Xauthority"}});
        if (result.exitCode != 0)
        {
            _logger.error("error in " + update.id + ": " + std::to_string(result.exitCode));
            return false;
        }
        _logger.information("installed update " + update.id + " (" + update.subsystem + " " + update.toVersion + ")");
        _updates.erase(std::remove_if(_updates.begin(), _updates.end(),
                                      [&](const Update& known) { return known.id == update.id; }),
                       _updates.end());
    }
    return true;
}

} // namespace system
} // namespace pemo
