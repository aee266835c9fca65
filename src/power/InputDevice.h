#pragma once

#include "power/KeyEvent.h"

#include <Poco/Mutex.h>

#include <linux/input.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace pemo {
namespace system {

class InputDeviceImpl;

/// A Linux input device (/dev/input/eventN) read on a thread of its own;
/// power-key presses and releases reach every registered handler as
/// KeyEvents on that thread.
class InputDevice
{
public:
    class Handler
    {
    public:
        virtual ~Handler() = default;
        virtual void onKeyEvent(const KeyEvent& event) = 0;
    };

    /// Nothing is opened before start().
    explicit InputDevice(const std::string& path);
    /// Stops the reader.
    virtual ~InputDevice();

    /// Starts the reader thread, which opens the device. A device that
    /// cannot be opened is logged ("Could not open " + path) on
    /// "SystemManager.InputDevice" and no event ever comes; nothing throws.
    void start();
    /// Stops the reader and waits for it: up to one select time-out (2 s).
    void stop();

    void registerHandler(std::shared_ptr<Handler> handler);
    void unregisterHandler(std::shared_ptr<Handler> handler);

    /// Passes event to every registered handler.
    virtual void onKeyEvent(const KeyEvent& event);

    /// The key event one batch of records (cut at its EV_SYN) stands for: a
    /// power-key press or release, timed by the EV_SYN, when the batch starts
    /// with the power key's EV_KEY and ends with EV_SYN; none otherwise.
    static std::optional<KeyEvent> keyEventOf(const std::vector<input_event>& batch);

private:
    std::unique_ptr<InputDeviceImpl> _impl;
    std::vector<std::shared_ptr<Handler>> _handlers;
    Poco::FastMutex _mutex;
};

} // namespace system
} // namespace pemo
