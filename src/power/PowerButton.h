#pragma once

#include "power/InputDevice.h"

#include <pemo/SystemNotificationClient.h>

#include <Poco/AutoPtr.h>
#include <Poco/Logger.h>
#include <Poco/Timer.h>
#include <Poco/Util/AbstractConfiguration.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace pemo {
namespace system {

class PowerManager;

/// Powers the device off when its power key is held for "duration"
/// milliseconds; a release before that cancels. After the first long press
/// the button stays inert for the life of the process, whether the power
/// off was accepted or not.
class PowerButton
{
public:
    struct Params
    {
        std::string path = "/dev/input/event0";
        /// How long the key must be held, in milliseconds.
        std::uint32_t duration = 2000;
        /// Read but unused: the delay before power off is the power
        /// manager's own.
        std::uint32_t warning = 10000;
    };

    /// Turns key events of the input device into presses of the button.
    class Handler : public InputDevice::Handler
    {
    public:
        explicit Handler(PowerButton& button) : _button(button) {}
        void onKeyEvent(const KeyEvent& event) override;

    private:
        PowerButton& _button;
    };

    /// config is the "SystemManager.powerButton" view. Starts watching the
    /// device at once; a device that cannot be opened is logged and leaves
    /// the button inert, it does not throw. powerManager may be null: a
    /// long press is then only logged.
    PowerButton(Poco::AutoPtr<Poco::Util::AbstractConfiguration> config, pemo::SystemNotificationClient& snc,
                std::shared_ptr<PowerManager> powerManager);
    /// Stops watching the device (up to one select time-out) and the timer.
    virtual ~PowerButton();

    /// The key was held for the whole duration; runs on the timer's thread.
    void onTimer(Poco::Timer& timer);

    const Params& params() const { return _params; }

private:
    void onPressed();
    void onReleased();

    Params _params;
    Poco::Logger& _logger;
    std::shared_ptr<PowerManager> _pm;
    std::atomic<bool> _timerLaunched;
    std::atomic<bool> _shuttingDown;
    Poco::Timer _timer;
    // The button announces nothing itself (the power manager warns), but
    // keeps the client it was built with, as every manager of the daemon does.
    [[maybe_unused]] pemo::SystemNotificationClient& _snc;
    std::shared_ptr<Handler> _handler;
    InputDevice _input;
};

} // namespace system
} // namespace pemo
