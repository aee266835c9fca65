#pragma once

#include "power/InputEvent.h"

#include <chrono>

namespace pemo {
namespace system {

/// A key went down or up. The time is the kernel's stamp of the batch's
/// synchronisation event.
class KeyEvent : public InputEvent
{
public:
    using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

    enum Key
    {
        UNKNOWN = -1,
        POWER = 0
    };

    KeyEvent(TimePoint time, Key key, bool pressed) : _time(time), _key(key), _pressed(pressed) {}

    TimePoint time() const { return _time; }
    Key key() const { return _key; }
    bool pressed() const { return _pressed; }
    bool released() const { return !_pressed; }

private:
    TimePoint _time;
    Key _key;
    bool _pressed;
};

} // namespace system
} // namespace pemo
