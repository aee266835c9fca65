#pragma once

#include <stdexcept>
#include <string>

namespace pemo {
namespace system {

/// Credentials that could not be read or stored; the message says why.
class CredentialsException : public std::runtime_error
{
public:
    explicit CredentialsException(const std::string& message) : std::runtime_error(message) {}
};

} // namespace system
} // namespace pemo
