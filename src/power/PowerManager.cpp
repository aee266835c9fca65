#include "power/PowerManager.h"

#include "common/SystemUtil.h"
#include "power/ShutdownWarning.h"

#include <Poco/Exception.h>

#include <chrono>
#include <exception>

namespace pemo {
namespace system {

namespace {

// Shared by both requests on purpose: whichever came first, the caller
// learns that the device is already going down.
const std::string ALREADY_REQUESTED = "PowerOff already requested";

PowerManager::Params readParams(const Poco::Util::AbstractConfiguration& config)
{
    PowerManager::Params params;
    params.warning = config.getUInt("warning", params.warning);
    return params;
}

} // namespace

PowerManager::PowerManager(Poco::AutoPtr<Poco::Util::AbstractConfiguration> config,
                           pemo::SystemNotificationClient& snc)
    : _params(readParams(*config)), _logger(Poco::Logger::get("SystemManager.PowerManager")), _shuttingDown(false),
      _timer(_params.warning, 0), _snc(snc)
{
}

PowerManager::~PowerManager() = default;

void PowerManager::start()
{
    _logger.trace("PowerManager::start");
}

void PowerManager::stop()
{
    _logger.trace("PowerManager::end");
}

void PowerManager::poweroff()
{
    _logger.trace("PowerManager::poweroff");
    shutdown("PowerOff requested, shutting down", "Posted poweroff notification", &PowerManager::onPowerOffTimer);
}

void PowerManager::reboot()
{
    _logger.trace("PowerManager::reboot");
    shutdown("Reboot requested, rebooting", "Posted reboot notification", &PowerManager::onRebootTimer);
}

void PowerManager::shutdown(const std::string& requested, const std::string& posted,
                            void (PowerManager::*callback)(Poco::Timer&))
{
    // Poco's lock throws Poco::SystemException "cannot lock mutex" itself.
    Poco::Mutex::ScopedLock lock(_mutex);
    if (_shuttingDown)
        throw Poco::SystemException(ALREADY_REQUESTED);
    _shuttingDown = true;
    _logger.notice(requested);
    postWarning(posted);
    _timer.start(Poco::TimerCallback<PowerManager>(*this, callback));
}

void PowerManager::postWarning(const std::string& posted)
{
    ShutdownWarningData data;
    data.eta = std::chrono::milliseconds(_params.warning);
    // Every shutdown is announced as the power button's, also one asked for
    // over HTTP: receivers know only this reason.
    data.reason = ShutdownWarningData::POWER_BUTTON;
    bool ok = false;
    try
    {
        ok = _snc.postNotification(ShutdownWarning(pemo::NotificationChannel::POWER_MANAGEMENT, data));
    }
    catch (const std::exception&)
    {
        ok = false;
    }
    if (ok)
        _logger.notice(posted);
    else
        _logger.critical("Failed to post shutdown notification");
}

void PowerManager::onPowerOffTimer(Poco::Timer&)
{
    runCommand("/sbin/poweroff", "POWEROFF FAULT!");
}

void PowerManager::onRebootTimer(Poco::Timer&)
{
    runCommand("/sbin/reboot", "REBOOT FAULT!");
}

void PowerManager::runCommand(const std::string& command, const std::string& fault)
{
    // _shuttingDown stays set whatever happens: after a fault the device
    // takes no further request until the process restarts.
    const ProgramResult result = runProgram(command, {}, ProgramOutput::INHERIT);
    if (!result.started || result.exitCode < 0)
        _logger.critical(fault);
}

} // namespace system
} // namespace pemo
