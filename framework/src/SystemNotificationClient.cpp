#include "pemo/SystemNotificationClient.h"

#include "SystemNotificationSubscription.h"

#include "pemo/Authentication.h"
#include "pemo/HTTPExchange.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Timer.h>

#include <chrono>

namespace pemo {

namespace {

const std::string SYSTEM_MANAGER("system-manager");
constexpr long LOOKUP_TICK_MS = 200;
constexpr auto KNOWN_LOOKUP_INTERVAL = std::chrono::seconds(10);
const Poco::Timespan POST_TIMEOUT(5, 0);

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
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _token = token;
    }
    wakeLookup();
}

std::string SystemNotificationClient::authentication() const
{
    std::lock_guard<std::mutex> lock(_mutex);
    return _token;
}

// Goes through HTTPExchange, so the system manager's own notifications are
// served in-process: they need none of its HTTP workers, which may all be
// waiting on the very lock the poster holds.
bool SystemNotificationClient::post(const ServiceRecord& record, const std::string& body)
{
    try
    {
        Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_POST, record.path + "system_notify",
                                       Poco::Net::HTTPMessage::HTTP_1_1);
        request.setContentType("application/json");
        request.setChunkedTransferEncoding(true);
        request.set(HTTP_HEADER_AUTHENTICATION, authentication());
        const Poco::Net::SocketAddress address(record.host, static_cast<Poco::UInt16>(record.port));
        const HTTPExchange::Answer answer = HTTPExchange::perform(address, request, body, POST_TIMEOUT);
        return answer.status == Poco::Net::HTTPResponse::HTTP_NO_CONTENT;
    }
    catch (const Poco::Exception& e)
    {
        _logger.debug("SystemNotificationClient::postNotification " + e.displayText() +
                      "; not posted, looking the system manager up again");
    }
    _recordStale = true;
    wakeLookup();
    return false;
}

void SystemNotificationClient::initialize()
{
    {
        std::lock_guard<std::mutex> lock(_timerMutex);
        _initialized = true;
    }
    wakeLookup();
}

// The timer stops itself once it has nothing left to do (see
// onLookupTimer), so it is started again from here; never called on the
// timer's own thread, which could not stop itself.
void SystemNotificationClient::wakeLookup()
{
    std::lock_guard<std::mutex> lock(_timerMutex);
    if (!_initialized || _shutdown || _lookupRunning)
        return;
    _lookupRunning = true;
    _lookupTimer.stop();
    _lookupTimer.setPeriodicInterval(LOOKUP_TICK_MS);
    _lookupTimer.start(Poco::TimerCallback<SystemNotificationClient>(*this, &SystemNotificationClient::onLookupTimer));
}

void SystemNotificationClient::shutdown()
{
    {
        std::lock_guard<std::mutex> lock(_timerMutex);
        _shutdown = true;
    }
    _lookupTimer.stop();
    std::lock_guard<std::mutex> lock(_mutex);
    _subscription->current.reset();
    _subscription->previous.reset();
}

void SystemNotificationClient::addObserver(const Poco::AbstractObserver& observer)
{
    _center.addObserver(observer);
    wakeLookup();
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

// Looks the system manager up every tick until it is known and keeps a
// subscription while anyone listens, looking again every ten seconds (it may
// move). With the record known and nobody listening there is nothing to do:
// the timer stops, and a failed post or a new observer starts it again. The
// handshake is made without the lock: when the system manager subscribes to
// itself it needs one of its own HTTP workers, and those may all be waiting
// for a post that needs the lock for its token.
void SystemNotificationClient::onLookupTimer(Poco::Timer&)
{
    const auto now = std::chrono::steady_clock::now();
    ServiceRecord record = systemManagerRecord();
    if (record.name.empty() || _recordStale.exchange(false) ||
        now - _subscription->lastLookup >= KNOWN_LOOKUP_INTERVAL)
    {
        _subscription->lastLookup = now;
        record = findSystemManager();
    }
    if (record.name.empty())
        return;
    if (!_center.hasObservers())
        return stopLookup();
    const std::string token = authentication();
    if (token.empty())
        return;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        if (_subscription->current && !_subscription->current->dead())
            return;
    }
    subscribe(record, token);
}

void SystemNotificationClient::stopLookup()
{
    std::lock_guard<std::mutex> lock(_timerMutex);
    _lookupRunning = false;
    _lookupTimer.restart(0);
}

void SystemNotificationClient::subscribe(const ServiceRecord& record, const std::string& token)
{
    std::unique_ptr<SystemNotificationSubscription> fresh;
    try
    {
        fresh = std::make_unique<SystemNotificationSubscription>(record.host, record.port,
                                                                 record.path + "system_notifications", token,
                                                                 _reactor, _center);
    }
    catch (const Poco::Exception& e)
    {
        _logger.debug("SystemNotificationClient could not subscribe: " + e.displayText() + "; trying again");
    }
    std::lock_guard<std::mutex> lock(_mutex);
    _subscription->previous = std::move(_subscription->current);
    _subscription->current = std::move(fresh);
}

} // namespace pemo
