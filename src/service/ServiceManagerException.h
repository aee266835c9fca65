#pragma once

#include <stdexcept>
#include <string>

namespace pemo {
namespace system {

/// Raised by the service supervisor: an unknown service name, a service
/// without a launch description for the device's mode, a process operation
/// on a service that was never launched.
class ServiceManagerException : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace system
} // namespace pemo
