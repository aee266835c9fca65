#include "skill/SkillManager.h"

#include "service/ServiceManagerNotification.h"
#include "session/SessionManager.h"
#include "skill/SkillImpl.h"
#include "skill/SkillManagerException.h"
#include "skill/SkillManagerNotification.h"
#include "skill/SkillMonitor.h"
#include "common/OutsideJSON.h"
#include "common/SystemUtil.h"

#include <Poco/AutoPtr.h>
#include <Poco/Exception.h>
#include <Poco/File.h>
#include <Poco/NumberFormatter.h>
#include <Poco/Path.h>
#include <Poco/URI.h>
#include <Poco/Util/JSONConfiguration.h>

#include <algorithm>
#include <exception>
#include <sstream>
#include <utility>

namespace pemo {
namespace system {

namespace {

const std::string REFRESH = "SkillManager::refresh ";
const std::string DEFAULT_TEXT = "INVALID SKILL";

std::vector<std::string> readList(const Poco::Util::AbstractConfiguration& config, const std::string& key)
{
    std::vector<std::string> values;
    for (int i = 0;; ++i)
    {
        const std::string indexed = key + "[" + Poco::NumberFormatter::format(i) + "]";
        if (!config.has(indexed))
            break;
        values.push_back(config.getString(indexed));
    }
    return values;
}

// A search directory may be written with or without a trailing slash; the
// test for "this entry is itself a search directory" must not care.
std::string directoryKey(const std::string& path)
{
    return Poco::Path::forDirectory(path).toString();
}

std::string childPath(const std::string& directory, const std::string& entry)
{
    return Poco::Path(Poco::Path::forDirectory(directory), entry).toString();
}

} // namespace

SkillManager::Mode::Mode() = default;

SkillManager::Mode::Mode(const std::string& user) : user(user)
{
}

SkillManager::Mode::Mode(const Poco::Util::AbstractConfiguration& config) : user(config.getString("user", ""))
{
}

SkillManager::Params::Params(Poco::Util::AbstractConfiguration& config)
    : executable(config.getString("executable")), arguments(readList(config, "arguments"))
{
    Poco::Util::AbstractConfiguration::Keys keys;
    config.keys("environment", keys);
    for (const auto& key : keys)
        environment[key] = config.getString("environment." + key);
    path.pemo = readList(config, "path.pemo");
    path.devs = readList(config, "path.devs");
    keys.clear();
    config.keys("modes", keys);
    for (const auto& name : keys)
    {
        Poco::AutoPtr<Poco::Util::AbstractConfiguration> view(config.createView("modes." + name));
        modes[name] = Mode(*view);
    }
}

SkillManager::SkillManager(Poco::AutoPtr<Poco::Util::AbstractConfiguration> config,
                           std::shared_ptr<SessionManager> sessionManager,
                           pemo::ServiceRegistryClient& registryClient,
                           pemo::SystemNotificationClient& notificationClient)
    : _params(*config), _sm(std::move(sessionManager)), _registryClient(registryClient), _snc(notificationClient),
      _logger(Poco::Logger::get("SystemManager.SkillManager")),
      _monitor(std::make_shared<Monitor>(_params, _sm, _snc, _buckets, _mutex)), _thread("SkillMonitor")
{
}

SkillManager::~SkillManager()
{
    if (_thread.isRunning())
        stop();
}

void SkillManager::start()
{
    _logger.trace("SkillManager::start");
    refresh();
    _thread.start(*_monitor);
}

void SkillManager::stop()
{
    _logger.trace("SkillManager::stop");
    _monitor->cancel();
    if (_thread.isRunning())
        _thread.join();
}

void SkillManager::refresh()
{
    Poco::Mutex::ScopedLock lock(_mutex);
    _logger.trace("SkillManager::refresh");
    const std::vector<std::string> directories = searchDirectories();
    std::set<std::string> stale;
    for (const auto& entry : _buckets)
        stale.insert(entry.first);
    for (const auto& directory : directories)
        scanDirectory(directory, directories, stale);
    // Only the catalogue's handle goes: a deleted skill that still runs is
    // left to end by itself.
    for (const auto& name : stale)
        _buckets.erase(name);
}

std::vector<std::string> SkillManager::searchDirectories() const
{
    std::vector<std::string> directories = _params.path.pemo;
    directories.insert(directories.end(), _params.path.devs.begin(), _params.path.devs.end());
    return directories;
}

void SkillManager::scanDirectory(const std::string& directory, const std::vector<std::string>& searchDirectories,
                                 std::set<std::string>& stale)
{
    std::vector<std::string> entries;
    try
    {
        Poco::File file(directory);
        if (!file.exists())
            return;
        file.list(entries);
    }
    catch (const Poco::Exception&)
    {
        _logger.warning(REFRESH + "Error listing directory " + directory);
        return;
    }
    for (const auto& entry : entries)
    {
        const std::string path = childPath(directory, entry);
        if (isSkillDirectory(entry, directory, path, searchDirectories))
            catalogue(path, stale);
    }
}

bool SkillManager::isSkillDirectory(const std::string& entry, const std::string& directory, const std::string& path,
                                    const std::vector<std::string>& searchDirectories)
{
    try
    {
        if (!Poco::File(path).isDirectory())
        {
            _logger.information(REFRESH + "Path exists but is not a directory for " + path);
            return false;
        }
    }
    catch (const Poco::Exception&)
    {
        _logger.warning(REFRESH + "Error validating directory for" + path);
        return false;
    }
    const std::string key = directoryKey(path);
    for (const auto& searchDirectory : searchDirectories)
    {
        if (directoryKey(searchDirectory) == key)
        {
            _logger.debug(REFRESH + "Found " + entry + " inside " + directory + ", but its actually a skill search path");
            return false;
        }
    }
    try
    {
        Poco::File package(childPath(path, "package.json"));
        if (!package.exists())
            return false;
        if (!package.isFile())
        {
            _logger.warning(REFRESH + "Package file exists but is not a file for " + path);
            return false;
        }
    }
    catch (const Poco::Exception&)
    {
        _logger.warning(REFRESH + "Error reading package file for " + path);
        return false;
    }
    return true;
}

void SkillManager::catalogue(const std::string& root, std::set<std::string>& stale)
{
    const std::string file = childPath(root, "package.json");
    SkillImpl::Params params;
    try
    {
        std::istringstream text(OutsideJSON::readFile(file));
        Poco::AutoPtr<Poco::Util::JSONConfiguration> package(new Poco::Util::JSONConfiguration(text));
        params.main = package->getString("pemo.main", "index.html");
        params.name = package->getString("name", DEFAULT_TEXT);
        params.version = package->getString("version", DEFAULT_TEXT);
    }
    catch (const std::exception& e)
    {
        _logger.warning(REFRESH + "Error reading package file " + file + ": " + describe(e) + "; the skill is not listed");
        return;
    }
    params.root = root;
    params.launch.executable = _params.executable;
    params.launch.arguments = _params.arguments;
    params.launch.environment = _params.environment;

    Bucket& bucket = _buckets[params.name];
    if (bucket.skill)
    {
        // Same name again, in this scan or an earlier one: the later search
        // directory wins, and a running process is kept.
        bucket.skill->updateParams(params);
    }
    else
    {
        bucket.skill = std::make_shared<SkillImpl>(params);
        _logger.information(REFRESH + "Adding " + params.name);
    }
    stale.erase(params.name);
}

void SkillManager::list(std::vector<Skill>& out)
{
    Poco::Mutex::ScopedLock lock(_mutex);
    refresh();
    _logger.trace("SkillManager::list");
    for (const auto& entry : _buckets)
    {
        Skill skill;
        skill.name = entry.first;
        if (entry.second.skill)
        {
            skill.path = entry.second.skill->root();
            skill.version = entry.second.skill->version();
            skill.running = entry.second.skill->isRunning();
            skill.lastStartTime = entry.second.skill->lastStartTime();
        }
        out.push_back(skill);
    }
    std::sort(out.begin(), out.end(), [](const Skill& a, const Skill& b) { return a.name < b.name; });
}

SkillManager::Bucket& SkillManager::findBucket(const std::string& name)
{
    auto found = _buckets.find(name);
    if (found == _buckets.end())
        throw SkillManagerException("Unknown skill: " + name);
    if (!found->second.skill)
        throw SkillManagerException("Broken skill state: " + name);
    return found->second;
}

// The session's fan-out and the start notification reach this very service
// while the lock is held; they are served in-process (pemo::HTTPExchange),
// so they never wait for an HTTP worker that may itself wait for this lock.
bool SkillManager::launch(const LaunchArgs& args)
{
    Poco::Mutex::ScopedLock lock(_mutex);
    Bucket& bucket = findBucket(args.name);
    if (bucket.skill->isRunning())
        return false;
    std::shared_ptr<pemo::Session> session = _sm ? _sm->createSession() : nullptr;
    if (!session)
        return false;

    Poco::URI registry;
    registry.setScheme("http");
    registry.setAuthority(_registryClient.getHost() + ":" + Poco::NumberFormatter::format(_registryClient.getPort()));
    registry.setPath("/registry");

    const std::string mode = getMode();
    const auto found = _params.modes.find(mode);
    if (found == _params.modes.end())
        throw SkillManagerException("Unknown mode: " + mode);

    bucket.skill->launch(session->token, args.context, registry, found->second);
    notifyStart(bucket);
    return true;
}

void SkillManager::notifyStart(Bucket& bucket)
{
    const std::string& name = bucket.skill->name();
    _monitor->notifier.postNotification(new SkillManagerNotification(SkillManagerNotification::STARTED, name));
    _monitor->announce(name, SkillNotificationData::STARTED, 0);
}

bool SkillManager::terminate(const std::string& name)
{
    Poco::Mutex::ScopedLock lock(_mutex);
    Bucket& bucket = findBucket(name);
    if (!bucket.skill->isRunning())
        throw SkillManagerException("Skill is not running: " + name);
    try
    {
        if (_sm)
            _sm->deleteSession(bucket.skill->session());
    }
    catch (const SessionManagerException&)
    {
        _logger.warning("bucket::terminate Could not delete session for " + name + " does not exist");
    }
    catch (const std::exception&)
    {
        _logger.warning("bucket::terminate Could not delete session for " + name);
    }
    bucket.skill->terminate();
    return true;
}

bool SkillManager::install()
{
    _logger.trace("SkillManager::install");
    return false;
}

bool SkillManager::update()
{
    _logger.trace("SkillManager::update");
    return false;
}

bool SkillManager::remove()
{
    _logger.trace("SkillManager::remove");
    return false;
}

void SkillManager::onServiceNotify(const Poco::AutoPtr<ServiceManagerNotification>&)
{
    // Taking the lock orders the notification after any launch in progress.
    Poco::Mutex::ScopedLock lock(_mutex);
}

void SkillManager::addObserver(const Poco::AbstractObserver& observer)
{
    _monitor->notifier.addObserver(observer);
}

void SkillManager::removeObserver(const Poco::AbstractObserver& observer)
{
    _monitor->notifier.removeObserver(observer);
}

} // namespace system
} // namespace pemo
