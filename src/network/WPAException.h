#pragma once

#include <stdexcept>
#include <string>

namespace pemo {
namespace system {

/// Every failure of the wpa_supplicant control client.
class WPAException : public std::runtime_error
{
public:
    explicit WPAException(const std::string& message) : std::runtime_error(message) {}
};

} // namespace system
} // namespace pemo
