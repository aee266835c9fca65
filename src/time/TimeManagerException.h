#pragma once

#include <stdexcept>
#include <string>

namespace pemo {
namespace system {

/// A time operation that failed; the message says which step.
class TimeManagerException : public std::runtime_error
{
public:
    explicit TimeManagerException(const std::string& message) : std::runtime_error(message) {}
};

} // namespace system
} // namespace pemo
