#pragma once

#include <pemo/SystemNotificationClient.h>

#include <Poco/AutoPtr.h>
#include <Poco/Logger.h>
#include <Poco/Mutex.h>
#include <Poco/Timer.h>
#include <Poco/Util/AbstractConfiguration.h>

#include <cstdint>

namespace pemo {
namespace system {

/// Powers the device off or reboots it, once per process lifetime: every
/// service is first warned with a "ShutdownWarning" notification, and the
/// system command runs "warning" milliseconds later on the timer's thread.
/// There is no cancellation and no way back.
class PowerManager
{
public:
    struct Params
    {
        /// Milliseconds between the warning and the command.
        std::uint32_t warning = 10000;
    };

    /// config is the "SystemManager.powerManager" view; a missing key keeps
    /// its default.
    PowerManager(Poco::AutoPtr<Poco::Util::AbstractConfiguration> config, pemo::SystemNotificationClient& snc);
    virtual ~PowerManager();

    /// Nothing to start: the timer runs only once a shutdown is requested.
    void start();
    void stop();

    /// Warns every service, then runs /sbin/poweroff after the warning
    /// delay. Throws Poco::SystemException "PowerOff already requested" when
    /// a power off or reboot was requested before. A failed warning post
    /// does not stop the shutdown. Virtual so that a stand-in can record
    /// the request instead of taking the machine down.
    virtual void poweroff();
    /// As poweroff(), running /sbin/reboot; refused with the same text.
    virtual void reboot();

    void onPowerOffTimer(Poco::Timer& timer);
    void onRebootTimer(Poco::Timer& timer);

    const Params& params() const { return _params; }

private:
    /// The common part of poweroff() and reboot(): refuses a second request,
    /// posts the warning and arms the timer with callback.
    void shutdown(const std::string& requested, const std::string& posted,
                  void (PowerManager::*callback)(Poco::Timer&));
    void postWarning(const std::string& posted);
    void runCommand(const std::string& command, const std::string& fault);

    Params _params;
    Poco::Logger& _logger;
    bool _shuttingDown;
    Poco::Timer _timer;
    Poco::Mutex _mutex;
    pemo::SystemNotificationClient& _snc;
};

} // namespace system
} // namespace pemo
