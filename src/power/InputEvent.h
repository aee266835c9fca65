#pragma once

namespace pemo {
namespace system {

/// Base of the events an InputDevice reports.
class InputEvent
{
public:
    virtual ~InputEvent() = default;
};

} // namespace system
} // namespace pemo
