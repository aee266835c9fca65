#pragma once

#include <stdexcept>
#include <string>

namespace pemo {
namespace system {

/// Raised by the session registry for a token it does not hold.
class SessionManagerException : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace system
} // namespace pemo
