#include "pemo/ServiceRegistrationTask.h"

#include <Poco/Exception.h>

namespace pemo {

ServiceRegistrationTask::ServiceRegistrationTask(ServiceRegistryClient& client)
    : _client(client), _logger(Poco::Logger::get("ServiceRegistrationTask"))
{
}

void ServiceRegistrationTask::registerService(const ServiceRecord& record)
{
    std::lock_guard<std::mutex> lock(_mutex);
    Entry& entry = _entries[record.name];
    entry.record = record;
    entry.ok = false;
    tryRegister(entry, Clock::now());
}

void ServiceRegistrationTask::deleteService(const ServiceRecord& record)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _entries.erase(record.name);
    try
    {
        _client.deleteService(record.name);
    }
    catch (const Poco::Exception& e)
    {
        _logger.warning("ServiceRegistrationTask::deleteService " + record.name + " failed: " + e.displayText() +
                        "; the registry drops it when its ttl runs out");
    }
}

void ServiceRegistrationTask::refreshRecords(Clock::time_point now)
{
    std::lock_guard<std::mutex> lock(_mutex);
    for (auto& [name, entry] : _entries)
    {
        const auto due = entry.lastSuccess + std::chrono::seconds(entry.record.ttl) / 3;
        if (!entry.ok || now >= due)
            tryRegister(entry, now);
    }
}

bool ServiceRegistrationTask::tryRegister(Entry& entry, Clock::time_point now)
{
    try
    {
        _client.registerService(entry.record);
        if (!entry.ok)
            _logger.information("ServiceRegistrationTask registered " + entry.record.name);
        entry.ok = true;
        entry.lastSuccess = now;
    }
    catch (const Poco::Exception& e)
    {
        if (entry.ok || entry.lastSuccess == Clock::time_point())
            _logger.warning("ServiceRegistrationTask could not register " + entry.record.name + ": " +
                            e.displayText() + "; retrying on the next refresh");
        entry.ok = false;
    }
    return entry.ok;
}

} // namespace pemo
