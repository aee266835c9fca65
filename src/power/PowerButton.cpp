#include "power/PowerButton.h"

#include "power/PowerManager.h"

#include <Poco/Exception.h>

#include <utility>

namespace pemo {
namespace system {

namespace {

PowerButton::Params readParams(const Poco::Util::AbstractConfiguration& config)
{
    PowerButton::Params params;
    params.path = config.getString("path", params.path);
    params.duration = config.getUInt("duration", params.duration);
    params.warning = config.getUInt("warning", params.warning);
    return params;
}

} // namespace

void PowerButton::Handler::onKeyEvent(const KeyEvent& event)
{
    if (event.key() != KeyEvent::POWER)
        return;
    if (event.pressed())
        _button.onPressed();
    else
        _button.onReleased();
}

PowerButton::PowerButton(Poco::AutoPtr<Poco::Util::AbstractConfiguration> config,
                         pemo::SystemNotificationClient& snc, std::shared_ptr<PowerManager> powerManager)
    : _params(readParams(*config)), _logger(Poco::Logger::get("SystemManager.PowerButton")),
      _pm(std::move(powerManager)), _timerLaunched(false), _shuttingDown(false), _timer(_params.duration, 0),
      _snc(snc), _handler(std::make_shared<Handler>(*this)), _input(_params.path)
{
    _input.registerHandler(_handler);
    _input.start();
}

PowerButton::~PowerButton()
{
    _input.stop();
    _input.unregisterHandler(_handler);
    _timer.stop();
}

void PowerButton::onPressed()
{
    // A press while the timer runs (or after a long press) changes nothing.
    if (_timerLaunched || _shuttingDown)
        return;
    _timerLaunched = true;
    _timer.start(Poco::TimerCallback<PowerButton>(*this, &PowerButton::onTimer));
}

void PowerButton::onReleased()
{
    // Waits for a running onTimer to finish: a release that comes too late
    // cannot take the power off back.
    _timer.stop();
    _timerLaunched = false;
}

void PowerButton::onTimer(Poco::Timer& timer)
{
    _shuttingDown = true;
    _logger.information("Power button pressed, shutting down");
    if (!_pm)
    {
        _logger.error("No PowerManager");
    }
    else
    {
        try
        {
            _pm->poweroff();
        }
        catch (const Poco::Exception& e)
        {
            _logger.error("Failed to poweroff: " + e.message() + "; the button ignores every later press");
        }
    }
    timer.restart(0);
    _timerLaunched = false;
}

} // namespace system
} // namespace pemo
