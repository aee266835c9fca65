#pragma once

#include "pemo/ServiceRecord.h"
#include "pemo/ServiceRegistryClient.h"

#include <Poco/Logger.h>

#include <chrono>
#include <map>
#include <mutex>
#include <string>

namespace pemo {

/// Keeps a service's own records alive at the registry: registers them,
/// refreshes each before its ttl runs out, and deletes them on shutdown.
/// Registry failures are logged, never thrown; a record whose registration
/// failed is retried on the next refresh.
class ServiceRegistrationTask
{
public:
    using Clock = std::chrono::steady_clock;

    explicit ServiceRegistrationTask(ServiceRegistryClient& client);

    /// Remembers the record and registers it at once.
    void registerService(const ServiceRecord& record);
    /// Forgets the record and deletes it at the registry.
    void deleteService(const ServiceRecord& record);
    /// Registers again every record due by now: a third of its ttl has
    /// passed since it was last registered, or the last attempt failed.
    void refreshRecords(Clock::time_point now);

private:
    struct Entry
    {
        ServiceRecord record;
        Clock::time_point lastSuccess;
        bool ok = false;
    };

    bool tryRegister(Entry& entry, Clock::time_point now);

    ServiceRegistryClient& _client;
    Poco::Logger& _logger;
    std::mutex _mutex;
    std::map<std::string, Entry> _entries;
};

} // namespace pemo
