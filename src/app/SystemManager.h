#pragma once

#include "network/WPAControlInterface.h"

#include <pemo/Port.h>
#include <pemo/ServiceCore.h>
#include <pemo/ServiceRecord.h>
#include <pemo/ServiceRegistrationTask.h>
#include <pemo/Session.h>
#include <pemo/SystemNotificationClient.h>

#include <Poco/AutoPtr.h>
#include <Poco/Logger.h>
#include <Poco/Timer.h>
#include <Poco/Util/AbstractConfiguration.h>
#include <Poco/Util/Application.h>
#include <Poco/Util/OptionSet.h>

#include <memory>
#include <string>

namespace pemo {
namespace system {

class HealthReport;

class WifiManager;
class SessionManager;
class ServiceManager;
class SkillManager;
class StorageManager;
class SystemNotifier;
class UpdateManager;
class PowerManager;
class CredentialsManager;
class TimeManager;
class PowerButton;

class ServiceListHandler;
class ServiceStartHandler;
class ServiceStopHandler;
class ServiceRestartHandler;
class SessionRequestHandler;
class SessionDeleteHandler;
class SessionCurrentHandler;
class SessionListHandler;
class SkillRefreshHandler;
class SkillListHandler;
class SkillLaunchHandler;
class SkillTerminateHandler;
class SystemNotifyHandler;
class UpdateHandler;
class WifiWPAHandler;
class WifiInterfaceHandler;
class VersionHandler;
class IdentityHandler;
class CurrentTimeHandler;
class TimeSynchronizationHandler;
class TimeZoneHandler;
class CredentialsHandler;
class ModeHandler;
class StorageHandler;
class SemanticStorageHandler;
class WipeHandler;
class BackupHandler;
class RestoreHandler;
class PowerOffHandler;
class RebootHandler;
class LogHandler;
class FirewallHandler;

/// The system manager service: creates every manager and request handler,
/// registers the routes and broadcast ports, keeps the service's registry
/// record alive, and starts and stops the managers.
///
/// The host process builds one with the default constructor and drives it
/// through initialize, start, stop and uninitialize, in that order; calls
/// out of that order are not guarded against.
class SystemManager : public pemo::ServiceCore
{
public:
    /// Relays every event line of the Wi-Fi control interface to the
    /// subscribers of the Wi-Fi message port, as {"message": line}.
    class WifiMessageMonitor : public WPAControlInterface::Monitor
    {
    public:
        explicit WifiMessageMonitor(pemo::Port& port);
        ~WifiMessageMonitor() override;

        void onMessage(const std::string& message) override;

    private:
        Poco::Logger& _logger;
        pemo::Port& _port;
    };

    SystemManager();
    /// Deletes the four service handlers, then releases the managers, last
    /// declared first.
    ~SystemManager() override;

    void onCreateSession(std::shared_ptr<pemo::Session> session) override;
    void onDeleteSession(std::shared_ptr<pemo::Session> session) override;
    void onSelectSession(std::shared_ptr<pemo::Session> session) override;
    void onSystemWipe() override;
    void onSystemBackup(const std::string& path) override;
    void onSystemRestore(const std::string& path) override;

    /// The health report as JSON text. Never throws: a missing manager or a
    /// failing query becomes an entry of the report's "errors"; a report
    /// that cannot be written gives an empty text.
    std::string onHealth() override;

    /// Keeps the registry record alive; runs on the timer's thread.
    void onRefreshServiceConnectionsTimer(Poco::Timer& timer);

protected:
    /// Builds the managers, handlers, routes and ports. Does not catch:
    /// any failure (a manager's constructor, a bad route expression) fails
    /// start-up, and what was built is released by the destructor.
    void onInitialize(Poco::Util::Application& app) override;
    /// Deletes the handlers. Not safe to call twice.
    void onUninitialize() override;
    void onDefineOptions(Poco::Util::OptionSet& options) override;
    /// Registers the record, arms the refresh timer, starts the managers.
    void onStart() override;
    /// Stops the timer and the managers, deletes the record.
    void onStop() override;

private:
    void createManagers(Poco::Util::AbstractConfiguration& config);
    void createHandlers();
    void registerHandlers();
    void addHealthError(HealthReport& report, const std::string& error);
    void addTimezone(HealthReport& report);

    pemo::ServiceRecord _record;
    pemo::ServiceRegistrationTask _reg;
    pemo::SystemNotificationClient _snc;
    Poco::Timer _refreshServiceConnectionsTimer;

    std::shared_ptr<WifiManager> _wifiManager;
    std::shared_ptr<SessionManager> _sessionManager;
    std::shared_ptr<ServiceManager> _serviceManager;
    std::shared_ptr<SkillManager> _skillManager;
    std::shared_ptr<StorageManager> _storageManager;
    std::shared_ptr<SystemNotifier> _systemNotifier;
    std::shared_ptr<UpdateManager> _updateManager;
    std::shared_ptr<PowerManager> _powerManager;
    std::shared_ptr<CredentialsManager> _credentialsManager;
    std::shared_ptr<TimeManager> _timeManager;

    ServiceListHandler* _serviceListHandler = nullptr;
    ServiceStartHandler* _serviceStartHandler = nullptr;
    ServiceStopHandler* _serviceStopHandler = nullptr;
    ServiceRestartHandler* _serviceRestartHandler = nullptr;
    SessionRequestHandler* _sessionRequestHandler = nullptr;
    SessionDeleteHandler* _sessionDeleteHandler = nullptr;
    SessionCurrentHandler* _sessionCurrentHandler = nullptr;
    SessionListHandler* _sessionListHandler = nullptr;
    SkillRefreshHandler* _skillRefreshHandler = nullptr;
    SkillListHandler* _skillListHandler = nullptr;
    SkillLaunchHandler* _skillLaunchHandler = nullptr;
    SkillTerminateHandler* _skillTerminateHandler = nullptr;
    SystemNotifyHandler* _systemNotifyHandler = nullptr;
    UpdateHandler* _updateHandler = nullptr;
    WifiWPAHandler* _wifiWPAHandler = nullptr;
    WifiInterfaceHandler* _wifiInterfaceHandler = nullptr;
    VersionHandler* _versionHandler = nullptr;
    IdentityHandler* _identityHandler = nullptr;
    CurrentTimeHandler* _currentTimeHandler = nullptr;
    TimeSynchronizationHandler* _timeSynchronizationHandler = nullptr;
    TimeZoneHandler* _timezoneHandler = nullptr;
    CredentialsHandler* _credentialsHandler = nullptr;
    ModeHandler* _modeHandler = nullptr;
    StorageHandler* _storageHandler = nullptr;
    SemanticStorageHandler* _semanticStorageHandler = nullptr;
    WipeHandler* _systemWipeHandler = nullptr;
    BackupHandler* _systemBackupHandler = nullptr;
    RestoreHandler* _systemRestoreHandler = nullptr;
    PowerOffHandler* _poweroffHandler = nullptr;
    RebootHandler* _rebootHandler = nullptr;
    LogHandler* _logHandler = nullptr;
    FirewallHandler* _fwHandler = nullptr;

    pemo::Port _systemNotifyPort;
    pemo::Port _wifiMessagePort;
    std::shared_ptr<WifiMessageMonitor> _wifiMonitor;
    std::shared_ptr<PowerButton> _powerButton;
};

} // namespace system
} // namespace pemo
