#include "RegistryStore.h"

namespace pemo {

void RegistryStore::put(const ServiceRecord& record, Clock::time_point now)
{
    std::lock_guard<std::mutex> lock(_mutex);
    const auto expiry = record.ttl == 0 ? Clock::time_point::max() : now + std::chrono::seconds(record.ttl);
    _entries[record.name] = Entry{record, expiry};
}

bool RegistryStore::remove(const std::string& name)
{
    std::lock_guard<std::mutex> lock(_mutex);
    return _entries.erase(name) > 0;
}

std::optional<ServiceRecord> RegistryStore::find(const std::string& name, Clock::time_point now)
{
    std::lock_guard<std::mutex> lock(_mutex);
    expire(now);
    auto it = _entries.find(name);
    if (it == _entries.end())
        return std::nullopt;
    return it->second.record;
}

std::vector<ServiceRecord> RegistryStore::all(Clock::time_point now)
{
    std::lock_guard<std::mutex> lock(_mutex);
    expire(now);
    std::vector<ServiceRecord> records;
    for (const auto& [name, entry] : _entries)
        records.push_back(entry.record);
    return records;
}

void RegistryStore::expire(Clock::time_point now)
{
    for (auto it = _entries.begin(); it != _entries.end();)
        it = it->second.expiry <= now ? _entries.erase(it) : std::next(it);
}

} // namespace pemo
