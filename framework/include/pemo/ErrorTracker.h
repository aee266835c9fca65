#pragma once

#include <Poco/Logger.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace pemo {

/// Process-wide record of component faults by code (for example a service's
/// crash code). Components post faults and set a code's status when they
/// recover; both are logged under "ErrorTracker".
class ErrorTracker
{
public:
    enum class Type
    {
        UNKNOWN = 0,
        EVENT = 1,
        RECOVERABLE = 2
    };

    enum class Status
    {
        UNKNOWN = 0,
        BROKEN = 1,
        FIXED = 2
    };

    static ErrorTracker& get();

    /// Records one occurrence of the fault; the code's status becomes BROKEN.
    void post(const std::string& code, Type type = Type::EVENT);
    void setStatus(const std::string& code, Status status);

    Status status(const std::string& code) const;
    std::uint32_t count(const std::string& code) const;

private:
    ErrorTracker();

    struct Entry
    {
        Status status = Status::UNKNOWN;
        std::uint32_t count = 0;
    };

    Poco::Logger& _logger;
    mutable std::mutex _mutex;
    std::map<std::string, Entry> _entries;
};

} // namespace pemo
