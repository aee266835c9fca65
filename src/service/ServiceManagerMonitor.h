#pragma once

#include "service/ServiceManager.h"
#include "service/ServiceManagerServiceImpl.h"

#include <pemo/util/Worker.h>

#include <Poco/Logger.h>
#include <Poco/Mutex.h>
#include <Poco/NotificationCenter.h>
#include <Poco/Timer.h>
#include <Poco/Timestamp.h>

#include <memory>
#include <string>

namespace pemo {
namespace system {

/// Keeps every enabled service running: one pass a second launches what is
/// not running and waits for each new child's start-up event, reaps children
/// that exited (relaunched by the next pass), and publishes the overall state.
///
/// Passes, start(name), stop(name) and getServices() all take the monitor's
/// lock, so a stop waits for a pass to end and a pass never sees a
/// half-stopped service.
class ServiceManager::Monitor : public pemo::util::Worker
{
public:
    using Handle = std::shared_ptr<Monitor>;
    using Type = ServiceManagerNotification::Type;

    /// Time between two passes.
    static constexpr long PASS_INTERVAL_MS = 1000;

    Monitor(const Params& params, const Bucket::Vector& buckets);
    ~Monitor() override;

    /// Enables the service; the next pass launches it. Throws
    /// ServiceManagerException "No service found: \"name\"".
    void start(const std::string& name);
    /// Disables the service and stops it (see stop(Bucket&)). Throws
    /// ServiceManagerException "No service found: \"name\"".
    void stop(const std::string& name);
    /// Asks the child to end with SIGINT, kills it once its shutdown_timeout
    /// has passed, and reaps it. Never throws.
    void stop(Bucket& bucket);

    Service::Vector getServices() const;

    /// Publishes SHUTDOWN and stops every service, last started first.
    void onCancel() override;
    /// One supervision pass, after a cancellable one-second sleep. A service
    /// without a launch description for the mode ends the pass early.
    void work() override;
    /// Posts a notification when type differs from the last one posted.
    void updateState(Type type);

    /// Where state notifications are posted.
    Poco::NotificationCenter notifier;

private:
    class KillFunctor;

    Bucket& find(const std::string& name);
    Type supervise(Bucket& bucket);
    Type probe(ServiceImpl& service);
    Type awaitStartup(Bucket& bucket, Type state, const Poco::Timestamp& launched);
    void waitForTermination(ServiceImpl& service);

    Poco::Logger& _logger;
    Params _params;
    Bucket::Vector _buckets;
    mutable Poco::Mutex _mutex;
    Type _state;
};

} // namespace system
} // namespace pemo
