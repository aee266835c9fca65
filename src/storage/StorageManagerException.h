#pragma once

#include <stdexcept>
#include <string>

namespace pemo {
namespace system {

/// A storage report that could not be made; the message says why.
class StorageManagerException : public std::runtime_error
{
public:
    explicit StorageManagerException(const std::string& message) : std::runtime_error(message) {}
};

} // namespace system
} // namespace pemo
