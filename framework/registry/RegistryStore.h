#pragma once

#include "pemo/ServiceRecord.h"

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace pemo {

/// The registry's records by name. A record with a ttl lives that many
/// seconds after it was last put; a ttl of 0 lives until deleted.
class RegistryStore
{
public:
    using Clock = std::chrono::steady_clock;

    void put(const ServiceRecord& record, Clock::time_point now = Clock::now());
    bool remove(const std::string& name);
    std::optional<ServiceRecord> find(const std::string& name, Clock::time_point now = Clock::now());
    /// Every live record in name order.
    std::vector<ServiceRecord> all(Clock::time_point now = Clock::now());

private:
    struct Entry
    {
        ServiceRecord record;
        Clock::time_point expiry;
    };

    void expire(Clock::time_point now);

    std::mutex _mutex;
    std::map<std::string, Entry> _entries;
};

} // namespace pemo
