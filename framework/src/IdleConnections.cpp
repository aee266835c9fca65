#include "IdleConnections.h"

#include <Poco/Exception.h>

#include <algorithm>

namespace pemo {

namespace {

// Whatever connection this worker thread is serving, if any.
thread_local void* currentEntry = nullptr;

} // namespace

IdleConnections::IdleConnections(int workers) : _workers(static_cast<std::size_t>(std::max(1, workers)))
{
}

void IdleConnections::enter(const Poco::Net::StreamSocket& socket)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _entries.push_back(Entry{this, socket, Clock::now()});
    currentEntry = &_entries.back();
}

void IdleConnections::leave()
{
    std::lock_guard<std::mutex> lock(_mutex);
    _entries.remove_if([](const Entry& entry) { return &entry == currentEntry; });
    currentEntry = nullptr;
}

void IdleConnections::requestStarted()
{
    auto* entry = static_cast<Entry*>(currentEntry);
    if (!entry)
        return;
    std::lock_guard<std::mutex> lock(entry->owner->_mutex);
    entry->busy = true;
    ++entry->requests;
}

void IdleConnections::requestEnded(bool upgraded)
{
    auto* entry = static_cast<Entry*>(currentEntry);
    if (!entry)
        return;
    std::lock_guard<std::mutex> lock(entry->owner->_mutex);
    entry->busy = false;
    entry->pinned = entry->pinned || upgraded;
    entry->idleSince = Clock::now();
}

bool IdleConnections::reclaimable(const Entry& entry, Clock::time_point now) const
{
    if (entry.busy || entry.pinned)
        return false;
    return entry.requests > 0 || now - entry.idleSince >= FRESH_GRACE;
}

bool IdleConnections::makeRoom()
{
    std::lock_guard<std::mutex> lock(_mutex);
    if (_entries.size() < _workers)
        return false;
    const auto now = Clock::now();
    Entry* oldest = nullptr;
    for (auto& entry : _entries)
        if (reclaimable(entry, now) && (!oldest || entry.idleSince < oldest->idleSince))
            oldest = &entry;
    if (!oldest)
        return false;
    // Pinned so that the next connection accepted before this one's worker
    // has noticed reclaims another.
    oldest->pinned = true;
    try
    {
        oldest->socket.shutdown();
    }
    catch (const Poco::Exception&)
    {
        // Closed by the peer meanwhile: its worker is leaving anyway.
    }
    return true;
}

std::size_t IdleConnections::size() const
{
    std::lock_guard<std::mutex> lock(_mutex);
    return _entries.size();
}

} // namespace pemo
