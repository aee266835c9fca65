#include "pemo/SystemNotificationClient.h"

#include "SystemNotificationSubscription.h"

#include <Poco/Timer.h>

#include <chrono>

namespace pemo {

namespace {

const std::string SYSTEM_MANAGER("system-manager");
constexpr long LOOKUP_TICK_MS = 200;
constexpr auto KNOWN_LOOKUP_INTERVAL = std::chrono::seconds(10);

} // namespace

/// The live subscription and the one it replaced; the replaced one is kept
/// a tick longer because the reactor may still be inside its callback.
class SystemNotificationClient::Subscription
{
public:
    std::unique_ptr<SystemNotificationSubscription> current;
    std::unique_ptr<SystemNotificationSubscription> previous;
    std::chrono::steady_clock::time_point lastLookup;
};

SystemNotificationClient::SystemNotificationClient(ServiceRegistryClient& registry, Poco::Net::SocketReactor& reactor)
    : _registry(registry), _reactor(reactor), _logger(Poco::Logger::get("SystemNotificationClient")),
      _lookupTimer(0, LOOKUP_TICK_MS), _subscription(std::make_unique<Subscription>())
{
}

SystemNotificationClient::~SystemNotificationClient()
{
    shutdown();
}

void SystemNotificationClient::setAuthentication(const std::string& token)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _token = token;
}

std::string SystemNotificationClient::authentication() const
{
    std::lock_guard<std::mutex> lock(_mutex);
    return _token;
}

void SystemNotificationClient::initialize()
{
    _lookupTimer.start(Poco::TimerCallback<SystemNotificationClient>(*this, &SystemNotificationClient::onLookupTimer));
}

void SystemNotificationClient::shutdown()
{
    _lookupTimer.stop();
    std::lock_guard<std::mutex> lock(_mutex);
    _subscription->current.reset();
    _subscription->previous.reset();
}

void SystemNotificationClient::addObserver(const Poco::AbstractObserver& observer)
{
    _center.addObserver(observer);
}

void SystemNotificationClient::removeObserver(const Poco::AbstractObserver& observer)
{
    _center.removeObserver(observer);
}

ServiceRecord SystemNotificationClient::systemManagerRecord() const
{
    std::lock_guard<std::mutex> lock(_mutex);
    return _sysMgrRecord;
}

void SystemNotificationClient::lookUp()
{
    findSystemManager();
}

ServiceRecord SystemNotificationClient::findSystemManager()
{
    try
    {
        const ServiceRecord record = _registry.findService(SYSTEM_MANAGER).value_or(ServiceRecord());
        std::lock_guard<std::mutex> lock(_mutex);
        _sysMgrRecord = record;
        return record;
    }
    catch (const Poco::Exception& e)
    {
        _logger.debug("SystemNotificationClient lookup failed: " + e.displayText() + "; trying again");
    }
    return systemManagerRecord();
}

// Looks the system manager up every tick until it is known and every ten
// seconds after (it may move), and keeps a subscription while anyone
// listens.
void SystemNotificationClient::onLookupTimer(Poco::Timer&)
{
    const auto now = std::chrono::steady_clock::now();
    ServiceRecord record = systemManagerRecord();
    if (record.name.empty() || now - _subscription->lastLookup >= KNOWN_LOOKUP_INTERVAL)
    {
        _subscription->lastLookup = now;
        record = findSystemManager();
    }
    const std::string token = authentication();
    if (record.name.empty() || token.empty() || !_center.hasObservers())
        return;
    std::lock_guard<std::mutex> lock(_mutex);
    if (_subscription->current && !_subscription->current->dead())
        return;
    _subscription->previous = std::move(_subscription->current);
    try
    {
        _subscription->current = std::make_unique<SystemNotificationSubscription>(
            record.host, record.port, record.path + "system_notifications", token, _reactor, _center);
    }
    catch (const Poco::Exception& e)
    {
        _logger.debug("SystemNotificationClient could not subscribe: " + e.displayText() + "; trying again");
    }
}

} // namespace pemo
