#include "ConnectionTable.h"

#include <Poco/Exception.h>

#include <algorithm>

namespace pemo {

ConnectionTable::ConnectionTable(const Limits& limits) : _limits(limits)
{
}

std::size_t ConnectionTable::defaultMaxConnections(std::size_t openFileLimit)
{
    return std::clamp<std::size_t>(openFileLimit / 4, 1, 1024);
}

ConnectionTable::Entry& ConnectionTable::at(Id id)
{
    const auto it = _entries.find(id);
    if (it == _entries.end())
        throw Poco::NotFoundException("connection " + std::to_string(id));
    return it->second;
}

void ConnectionTable::opened(Id id, Clock::time_point now)
{
    _entries[id] = Entry{Phase::Idle, now, now + _limits.header, true};
}

// The head's deadline runs from the opening or the previous answer, not
// from its first byte: a byte now and then buys a client nothing.
void ConnectionTable::headStarted(Id id)
{
    at(id).phase = Phase::Head;
}

void ConnectionTable::bodyStarted(Id id, Clock::time_point now)
{
    Entry& entry = at(id);
    entry.phase = Phase::Body;
    entry.deadline = now + _limits.body;
}

void ConnectionTable::serving(Id id)
{
    at(id).phase = Phase::Serving;
}

void ConnectionTable::answered(Id id, Clock::time_point now)
{
    _entries[id] = Entry{Phase::Idle, now, now + _limits.header, false};
}

void ConnectionTable::closing(Id id, Clock::time_point now)
{
    Entry& entry = at(id);
    entry.phase = Phase::Closing;
    entry.deadline = now + _limits.linger;
}

void ConnectionTable::closed(Id id)
{
    _entries.erase(id);
}

ConnectionTable::Phase ConnectionTable::phase(Id id) const
{
    const auto it = _entries.find(id);
    if (it == _entries.end())
        throw Poco::NotFoundException("connection " + std::to_string(id));
    return it->second.phase;
}

std::size_t ConnectionTable::size() const
{
    return _entries.size();
}

bool ConnectionTable::full() const
{
    return _entries.size() >= _limits.maxConnections;
}

std::optional<ConnectionTable::Id> ConnectionTable::victim() const
{
    std::optional<Id> oldest;
    Clock::time_point oldestSince;
    for (const auto& [id, entry] : _entries)
    {
        if (entry.phase == Phase::Closing)
            return id;
        if (entry.phase == Phase::Idle && (!oldest || entry.since < oldestSince))
        {
            oldest = id;
            oldestSince = entry.since;
        }
    }
    return oldest;
}

std::vector<ConnectionTable::Expired> ConnectionTable::expired(Clock::time_point now) const
{
    std::vector<Expired> result;
    for (const auto& [id, entry] : _entries)
    {
        if (entry.phase == Phase::Serving || entry.deadline > now)
            continue;
        const bool quiet = entry.phase == Phase::Closing || (entry.phase == Phase::Idle && !entry.fresh);
        result.push_back(Expired{id, !quiet});
    }
    return result;
}

std::optional<ConnectionTable::Clock::time_point> ConnectionTable::nextDeadline() const
{
    std::optional<Clock::time_point> next;
    for (const auto& [id, entry] : _entries)
        if (entry.phase != Phase::Serving && (!next || entry.deadline < *next))
            next = entry.deadline;
    return next;
}

} // namespace pemo
