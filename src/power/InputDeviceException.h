#pragma once

#include <stdexcept>
#include <string>

namespace pemo {
namespace system {

/// An input device could not be opened or read.
class InputDeviceException : public std::runtime_error
{
public:
    explicit InputDeviceException(const std::string& what) : std::runtime_error(what) {}
};

} // namespace system
} // namespace pemo
