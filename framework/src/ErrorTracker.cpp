#include "pemo/ErrorTracker.h"

namespace pemo {

namespace {

const char* typeName(ErrorTracker::Type type)
{
    switch (type)
    {
    case ErrorTracker::Type::EVENT: return "EVENT";
    case ErrorTracker::Type::RECOVERABLE: return "RECOVERABLE";
    default: return "UNKNOWN";
    }
}

const char* statusName(ErrorTracker::Status status)
{
    switch (status)
    {
    case ErrorTracker::Status::BROKEN: return "BROKEN";
    case ErrorTracker::Status::FIXED: return "FIXED";
    default: return "UNKNOWN";
    }
}

} // namespace

ErrorTracker& ErrorTracker::get()
{
    static ErrorTracker tracker;
    return tracker;
}

ErrorTracker::ErrorTracker() : _logger(Poco::Logger::get("ErrorTracker"))
{
}

void ErrorTracker::post(const std::string& code, Type type)
{
    std::uint32_t count;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        Entry& entry = _entries[code];
        entry.status = Status::BROKEN;
        count = ++entry.count;
    }
    _logger.warning("ErrorTracker::post " + code + " " + typeName(type) + " (" + std::to_string(count) + " so far)");
}

void ErrorTracker::setStatus(const std::string& code, Status status)
{
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _entries[code].status = status;
    }
    _logger.information("ErrorTracker::setStatus " + code + " " + statusName(status));
}

ErrorTracker::Status ErrorTracker::status(const std::string& code) const
{
    std::lock_guard<std::mutex> lock(_mutex);
    auto it = _entries.find(code);
    return it == _entries.end() ? Status::UNKNOWN : it->second.status;
}

std::uint32_t ErrorTracker::count(const std::string& code) const
{
    std::lock_guard<std::mutex> lock(_mutex);
    auto it = _entries.find(code);
    return it == _entries.end() ? 0 : it->second.count;
}

} // namespace pemo
