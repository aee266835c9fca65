#include "pemo/system/ServiceManager.h"

#include "pemo/system/ServiceFanOut.h"
#include "pemo/system/ServiceManagerMonitor.h"
#include "pemo/system/ServiceManagerServiceImpl.h"

#include <Poco/Format.h>

#include <algorithm>
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

// Less-or-equal on purpose: among equal orders no start order is promised.
// It is not a strict weak ordering, which std::sort tolerates only while it
// insertion-sorts, that is for up to 16 buckets; a device has far fewer.
bool startsBefore(const ServiceManager::Bucket& a, const ServiceManager::Bucket& b)
{
    if (!a.service)
        return !b.service;
    if (!b.service)
        return true;
    return a.service->order() <= b.service->order();
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

} // namespace system
} // namespace pemo
