#include "service/ServiceManagerMonitor.h"

#include <pemo/ErrorTracker.h>
#include <pemo/StartupEvent.h>

#include <Poco/Exception.h>
#include <Poco/NumberFormatter.h>

#include <unordered_map>

namespace pemo {
namespace system {

namespace {

using Type = ServiceManagerNotification::Type;

// Any service not yet known makes the whole state unknown; otherwise any
// relaunch or failed probe means recovery.
Type reduce(const std::unordered_map<ServiceManager::ServiceImpl::Handle, Type>& states)
{
    Type overall = ServiceManagerNotification::READY;
    for (const auto& entry : states)
    {
        if (entry.second == ServiceManagerNotification::READY)
            continue;
        if (entry.second != ServiceManagerNotification::RECOVERY)
            return ServiceManagerNotification::UNKNOWN;
        overall = ServiceManagerNotification::RECOVERY;
    }
    return overall;
}

} // namespace

/// Kills a service that ignored its termination request for too long.
class ServiceManager::Monitor::KillFunctor
{
public:
    explicit KillFunctor(ServiceImpl::Handle service) : _service(std::move(service))
    {
    }

    void onTimer(Poco::Timer&)
    {
        if (!_service)
            return;
        Poco::Logger::get("SystemManager.Service.Monitor")
            .warning("Service " + _service->name() + " failed to terminate within " +
                     Poco::NumberFormatter::format(_service->shutdownTimeout()) + "ms; " + "forcibly terminating.");
        _service->kill();
    }

private:
    ServiceImpl::Handle _service;
};

ServiceManager::Monitor::Monitor(const Params& params, const Bucket::Vector& buckets)
    : _logger(Poco::Logger::get("SystemManager.Service.Monitor")),
      _params(params),
      _buckets(buckets),
      _state(ServiceManagerNotification::UNKNOWN)
{
}

ServiceManager::Monitor::~Monitor() = default;

ServiceManager::Bucket& ServiceManager::Monitor::find(const std::string& name)
{
    for (auto& bucket : _buckets)
    {
        if (bucket.service && bucket.service->name() == name)
            return bucket;
    }
    throw ServiceManagerException("No service found: \"" + name + "\"");
}

void ServiceManager::Monitor::start(const std::string& name)
{
    Poco::Mutex::ScopedLock lock(_mutex);
    find(name).service->setEnabled(true);
}

void ServiceManager::Monitor::stop(const std::string& name)
{
    Poco::Mutex::ScopedLock lock(_mutex);
    Bucket& bucket = find(name);
    bucket.service->setEnabled(false);
    stop(bucket);
}

void ServiceManager::Monitor::stop(Bucket& bucket)
{
    if (!bucket.service)
        return;
    ServiceImpl& service = *bucket.service;
    KillFunctor killer(bucket.service);
    Poco::Timer killTimer(service.shutdownTimeout(), 0);
    killTimer.start(Poco::TimerCallback<KillFunctor>(killer, &KillFunctor::onTimer));
    try
    {
        service.terminate();
    }
    catch (const ServiceManagerException& e)
    {
        _logger.information("Service.Monitor::stop " + std::string(e.what()) + "; nothing to stop");
        killTimer.stop();
        return;
    }
    if (service.isRunning())
        waitForTermination(service);
    else
        _logger.information("Skipping wait for " + service.name() + " not running");
    killTimer.stop();
}

void ServiceManager::Monitor::waitForTermination(ServiceImpl& service)
{
    _logger.information("Waiting for " + service.name() + " to terminate");
    try
    {
        const int code = service.wait();
        _logger.information("Service " + service.name() + " terminated with code " + Poco::NumberFormatter::format(code));
    }
    catch (const ServiceManagerException& e)
    {
        _logger.error("Service " + service.name() + " error waiting for service process to terminate: " + e.what());
    }
    catch (const std::exception& e)
    {
        _logger.error("Service " + service.name() + " failed to terminate: " + e.what());
    }
}

ServiceManager::Service::Vector ServiceManager::Monitor::getServices() const
{
    Poco::Mutex::ScopedLock lock(_mutex);
    Service::Vector services;
    for (const auto& bucket : _buckets)
    {
        if (bucket.service)
            services.push_back({bucket.service->name(), bucket.service->enabled(), bucket.service->isRunning()});
    }
    return services;
}

void ServiceManager::Monitor::onCancel()
{
    Poco::Mutex::ScopedLock lock(_mutex);
    updateState(ServiceManagerNotification::SHUTDOWN);
    for (auto it = _buckets.rbegin(); it != _buckets.rend(); ++it)
        stop(*it);
}

void ServiceManager::Monitor::work()
{
    sleep(PASS_INTERVAL_MS);
    Poco::Mutex::ScopedLock lock(_mutex);
    if (isCancelled())
        return;
    std::unordered_map<ServiceImpl::Handle, Type> states;
    try
    {
        for (auto& bucket : _buckets)
        {
            if (isCancelled())
                break;
            states[bucket.service] = supervise(bucket);
        }
    }
    catch (const std::exception& e)
    {
        _logger.error("Service.Monitor::work " + std::string(e.what()) + "; pass abandoned, next pass in 1 s");
        return;
    }
    updateState(reduce(states));
}

Type ServiceManager::Monitor::supervise(Bucket& bucket)
{
    ServiceImpl& service = *bucket.service;
    // A child reaped in this pass is not relaunched until the next one, so
    // that its crash is published as RECOVERY even when the new child would
    // signal its start-up in time.
    if (service.isRunning())
        return probe(service);
    Type state = ServiceManagerNotification::UNKNOWN;
    if (!service.enabled())
        return state;
    if (service.lastStartTime() != ServiceImpl::TimePoint::min())
        state = ServiceManagerNotification::RECOVERY;
    const ServiceImpl::Mode mode = service.getMode();
    if (!mode.enabled)
        return state;
    _logger.information("Service.Monitor::work " + std::string("Launching service ") + service.name());
    const Poco::Timestamp launched;
    service.launch(mode);
    return awaitStartup(bucket, state, launched);
}

Type ServiceManager::Monitor::probe(ServiceImpl& service)
{
    try
    {
        if (!service.hasExited())
            return ServiceManagerNotification::READY;
    }
    catch (const ServiceManagerException& e)
    {
        _logger.error("Service " + service.name() + " " + e.what() + "; state is RECOVERY, probing again next pass");
        return ServiceManagerNotification::RECOVERY;
    }
    try
    {
        const int code = service.wait();
        _logger.warning("Service " + service.name() + " exited with code " + Poco::NumberFormatter::format(code));
    }
    catch (const std::exception& e)
    {
        _logger.error("Service " + service.name() + " Failed to wait for dead service: " + e.what());
    }
    pemo::ErrorTracker::get().post(service.crashCode());
    return ServiceManagerNotification::RECOVERY;
}

Type ServiceManager::Monitor::awaitStartup(Bucket& bucket, Type state, const Poco::Timestamp& launched)
{
    ServiceImpl& service = *bucket.service;
    const int pid = service.pid();
    if (pid < 1)
    {
        _logger.error("Service " + service.name() + " has invalid PID: " + Poco::NumberFormatter::format(pid));
        return state;
    }
    _logger.information("Service " + service.name() + " launched with PID " + Poco::NumberFormatter::format(pid));
    pemo::StartupEvent startup(pid, launched);
    bucket.event = startup.event();
    _logger.information("Waiting for startup event from " + service.name() + " " + startup.name());
    const bool started = startup.wait(service.startupTimeout());
    bucket.event.reset();
    if (!started)
    {
        _logger.warning("Service " + service.name() + " failed to signal startup event during launch window");
        return state;
    }
    _logger.information("Got startup event from " + service.name());
    pemo::ErrorTracker::get().setStatus(service.crashCode(), pemo::ErrorTracker::Status::FIXED);
    return ServiceManagerNotification::READY;
}

void ServiceManager::Monitor::updateState(Type type)
{
    if (type == _state)
        return;
    _logger.debug("ServiceManager state change: " + to_string(type));
    notifier.postNotification(new ServiceManagerNotification(type));
    _state = type;
}

} // namespace system
} // namespace pemo
