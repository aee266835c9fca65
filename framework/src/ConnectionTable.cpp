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

void ConnectionTable::file(Entry& entry, Id id, Phase phase, std::optional<Clock::time_point> deadline,
                           Clock::time_point since)
{
    unfile(entry);
    entry.phase = phase;
    if (deadline)
        entry.deadline = _deadlines.emplace(*deadline, id);
    if (phase == Phase::Idle)
        entry.idle = _idle.emplace(since, id);
    if (phase == Phase::Closing)
        _closing.insert(id);
}

void ConnectionTable::unfile(Entry& entry)
{
    if (entry.deadline != _deadlines.end())
    {
        if (entry.phase == Phase::Closing)
            _closing.erase(entry.deadline->second);
        _deadlines.erase(entry.deadline);
    }
    if (entry.idle != _idle.end())
        _idle.erase(entry.idle);
    entry.deadline = _deadlines.end();
    entry.idle = _idle.end();
}

void ConnectionTable::opened(Id id, Clock::time_point now)
{
    closed(id);
    Entry& entry = _entries.emplace(id, Entry{Phase::Idle, true, _deadlines.end(), _idle.end()}).first->second;
    file(entry, id, Phase::Idle, now + _limits.header, now);
}

// The head's deadline runs from the opening or the previous answer, not
// from its first byte: a byte now and then buys a client nothing.
void ConnectionTable::headStarted(Id id)
{
    Entry& entry = at(id);
    const Clock::time_point deadline = entry.deadline->first;
    file(entry, id, Phase::Head, deadline, deadline);
}

void ConnectionTable::bodyStarted(Id id, Clock::time_point now)
{
    Entry& entry = at(id);
    file(entry, id, Phase::Body, now + _limits.body, now);
}

void ConnectionTable::serving(Id id)
{
    Entry& entry = at(id);
    file(entry, id, Phase::Serving, std::nullopt, Clock::time_point());
}

void ConnectionTable::answered(Id id, Clock::time_point now)
{
    Entry& entry = at(id);
    entry.fresh = false;
    file(entry, id, Phase::Idle, now + _limits.header, now);
}

void ConnectionTable::closing(Id id, Clock::time_point now)
{
    Entry& entry = at(id);
    file(entry, id, Phase::Closing, now + _limits.linger, now);
}

void ConnectionTable::closed(Id id)
{
    const auto it = _entries.find(id);
    if (it == _entries.end())
        return;
    unfile(it->second);
    _entries.erase(it);
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
    if (!_closing.empty())
        return *_closing.begin();
    if (!_idle.empty())
        return _idle.begin()->second;
    return std::nullopt;
}

std::vector<ConnectionTable::Expired> ConnectionTable::expired(Clock::time_point now) const
{
    std::vector<Expired> result;
    for (auto it = _deadlines.begin(); it != _deadlines.end() && it->first <= now; ++it)
    {
        const Entry& entry = _entries.at(it->second);
        const bool quiet = entry.phase == Phase::Closing || (entry.phase == Phase::Idle && !entry.fresh);
        result.push_back(Expired{it->second, !quiet});
    }
    return result;
}

std::optional<ConnectionTable::Clock::time_point> ConnectionTable::nextDeadline() const
{
    if (_deadlines.empty())
        return std::nullopt;
    return _deadlines.begin()->first;
}

} // namespace pemo
