#pragma once

#include <stdexcept>
#include <string>

namespace pemo {
namespace system {

/// A failure of the libaugeas wrapper: it could not start, or was used
/// after close().
class AugeasException : public std::runtime_error
{
public:
    explicit AugeasException(const std::string& message) : std::runtime_error(message) {}
};

} // namespace system
} // namespace pemo
