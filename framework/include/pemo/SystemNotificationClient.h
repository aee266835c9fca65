#pragma once

#include "pemo/ServiceRecord.h"
#include "pemo/ServiceRegistryClient.h"
#include "pemo/SystemNotification.h"
#include "pemo/SystemNotificationEvent.h"

#include <Poco/Logger.h>
#include <Poco/Net/SocketReactor.h>
#include <Poco/NotificationCenter.h>
#include <Poco/Timer.h>

#include <cereal/archives/json.hpp>

#include <atomic>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>

namespace pemo {

/// Publishes system notifications to the system manager and delivers the
/// ones it relays as SystemNotificationEvents to observers.
///
/// The client finds the system manager through the registry record
/// "system-manager", polled five times a second until found. A client with
/// no observers then stops looking until a post fails (the system manager
/// may have moved) or an observer is added, and subscribes to nothing. With
/// observers and an authentication token it keeps one WebSocket
/// subscription to the notification port on the socket reactor, and looks
/// the record up again every ten seconds.
class SystemNotificationClient
{
public:
    SystemNotificationClient(ServiceRegistryClient& registry, Poco::Net::SocketReactor& reactor);
    ~SystemNotificationClient();

    SystemNotificationClient(const SystemNotificationClient&) = delete;
    SystemNotificationClient& operator=(const SystemNotificationClient&) = delete;

    /// The token sent in the authentication header of every request.
    void setAuthentication(const std::string& token);

    /// Starts looking for the system manager. Call once.
    void initialize();
    /// Stops looking and drops the subscription.
    void shutdown();

    /// Asks the registry for the system manager now rather than at the next
    /// tick: the system manager calls it once it has registered itself, so
    /// that nothing it posts right after start-up is lost. Never throws; a
    /// failed lookup leaves the record as it was.
    void lookUp();

    void addObserver(const Poco::AbstractObserver& observer);
    void removeObserver(const Poco::AbstractObserver& observer);

    /// The system manager's record as last learned; empty name when unknown.
    ServiceRecord systemManagerRecord() const;

    /// Posts the notification to the system manager's "system_notify" route.
    /// True exactly when it answered 204. False when the system manager is
    /// not known yet or a Poco::Exception occurred on the way (the client
    /// then looks it up again); an uninitialised notification throws
    /// std::logic_error.
    template <const char* Type, class Data>
    bool postNotification(const SystemNotification<Type, Data>& notification)
    {
        const ServiceRecord record = systemManagerRecord();
        if (record.name.empty())
            return false;
        std::ostringstream body;
        {
            cereal::JSONOutputArchive archive(body);
            notification.save(archive);
        }
        return post(record, body.str());
    }

private:
    class Subscription;

    std::string authentication() const;
    /// POSTs body to the record's notify route; true exactly on 204, false
    /// on any Poco::Exception (logged at debug level).
    bool post(const ServiceRecord& record, const std::string& body);
    void onLookupTimer(Poco::Timer& timer);
    /// Called on the timer's thread: the timer ends after this tick.
    void stopLookup();
    /// Starts the timer unless it runs; never on the timer's thread.
    void wakeLookup();
    void subscribe(const ServiceRecord& record, const std::string& token);
    ServiceRecord findSystemManager();

    ServiceRegistryClient& _registry;
    Poco::Net::SocketReactor& _reactor;
    Poco::Logger& _logger;
    Poco::NotificationCenter _center;
    mutable std::mutex _mutex;
    ServiceRecord _sysMgrRecord;
    std::string _token;
    /// Guards the timer's start and stop and the three flags.
    std::mutex _timerMutex;
    bool _initialized = false;
    bool _shutdown = false;
    bool _lookupRunning = false;
    /// Set by a failed post: the next tick looks the record up again.
    std::atomic<bool> _recordStale{false};
    Poco::Timer _lookupTimer;
    std::unique_ptr<Subscription> _subscription;
};

} // namespace pemo
