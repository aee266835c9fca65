#include "app/SystemManager.h"

#include "service/BackupHandler.h"
#include "identity/CredentialsHandler.h"
#include "identity/CredentialsManager.h"
#include "time/CurrentTimeHandler.h"
#include "policy/FirewallHandler.h"
#include "app/HealthReport.h"
#include "identity/IdentityHandler.h"
#include "common/JSON.h"
#include "policy/LogHandler.h"
#include "policy/ModeHandler.h"
#include "power/PowerButton.h"
#include "power/PowerManager.h"
#include "power/PowerOffHandler.h"
#include "power/RebootHandler.h"
#include "service/RestoreHandler.h"
#include "app/Routes.h"
#include "storage/SemanticStorageHandler.h"
#include "service/ServiceListHandler.h"
#include "service/ServiceManager.h"
#include "service/ServiceRestartHandler.h"
#include "service/ServiceStartHandler.h"
#include "service/ServiceStopHandler.h"
#include "session/SessionCurrentHandler.h"
#include "session/SessionDeleteHandler.h"
#include "session/SessionListHandler.h"
#include "session/SessionManager.h"
#include "session/SessionRequestHandler.h"
#include "skill/SkillLaunchHandler.h"
#include "skill/SkillListHandler.h"
#include "skill/SkillManager.h"
#include "skill/SkillRefreshHandler.h"
#include "skill/SkillTerminateHandler.h"
#include "storage/StorageHandler.h"
#include "storage/StorageManager.h"
#include "notification/SystemNotifier.h"
#include "notification/SystemNotifyHandler.h"
#include "time/TimeSynchronizationHandler.h"
#include "time/TimeManager.h"
#include "time/TimeZoneHandler.h"
#include "update/UpdateHandler.h"
#include "update/UpdateManager.h"
#include "update/VersionHandler.h"
#include "network/WifiInterfaceHandler.h"
#include "network/WifiManager.h"
#include "network/WifiWPAHandler.h"
#include "service/WipeHandler.h"

#include <Poco/ClassLibrary.h>
#include <Poco/Exception.h>
#include <Poco/NObserver.h>

#include <chrono>

namespace pemo {
namespace system {

namespace {

// The largest frame either broadcast port carries; the notify endpoint
// refuses bodies above the same size.
const std::size_t PORT_FRAME_SIZE = 16384;

// The registry forgets a record after ttl seconds; refreshing every ten
// keeps it alive with two refreshes to spare.
const unsigned REGISTRY_TTL = 30;
const long REFRESH_INTERVAL_MS = 10000;

const int FINAL_TEXT_FRAME = 129;

HealthReport::Stats toStats(const ServiceManager::Health::BWRStats& stats)
{
    HealthReport::Stats result;
    result.last_success = stats.last_success;
    result.last_failure = stats.last_failure;
    result.successes = stats.successes;
    result.failures = stats.failures;
    return result;
}

} // namespace

SystemManager::WifiMessageMonitor::WifiMessageMonitor(pemo::Port& port)
    : _logger(Poco::Logger::get("SystemManager.WifiMessageMonitor")), _port(port)
{
}

SystemManager::WifiMessageMonitor::~WifiMessageMonitor() = default;

void SystemManager::WifiMessageMonitor::onMessage(const std::string& message)
{
    if (_logger.trace())
        _logger.trace("WifiMessageMonitor::onMessage " + message);

    RAPIDJSON_NAMESPACE::StringBuffer buffer;
    RAPIDJSON_NAMESPACE::Writer<RAPIDJSON_NAMESPACE::StringBuffer> writer(buffer);
    writer.StartObject();
    writer.Key("message");
    writer.String(message.data(), static_cast<RAPIDJSON_NAMESPACE::SizeType>(message.size()));
    writer.EndObject();

    // Called on the Wi-Fi event thread with the control interface locked:
    // nothing may escape back into it.
    try
    {
        _port.broadcastFrame(std::string(buffer.GetString(), buffer.GetSize()), FINAL_TEXT_FRAME);
    }
    catch (const Poco::Exception& e)
    {
        _logger.warning("WifiMessageMonitor::onMessage " + e.displayText());
    }
}

SystemManager::SystemManager()
    : pemo::ServiceCore("SystemManager"), _reg(registryClient()), _snc(registryClient(), socketReactor()),
      _refreshServiceConnectionsTimer(0, 0), _systemNotifyPort(socketReactor(), PORT_FRAME_SIZE),
      _wifiMessagePort(socketReactor(), PORT_FRAME_SIZE)
{
    logger().trace("SystemManager::constructor");
}

SystemManager::~SystemManager()
{
    // The four service handlers outlive onUninitialize, but each holds the
    // service manager: freed here, first, the service manager goes with its
    // pointer below instead of leaking past the end of the process.
    delete _serviceListHandler;
    delete _serviceStartHandler;
    delete _serviceStopHandler;
    delete _serviceRestartHandler;
    // The button first: its reader thread and timer use the power manager.
    _powerButton.reset();
}

void SystemManager::onInitialize(Poco::Util::Application& app)
{
    pemo::ServiceCore::onInitialize(app);
    logger().trace("SystemManager::onInitialize");

    _record.name = "system-manager";
    _record.host = "127.0.0.1";
    _record.port = port();
    _record.path = "/";
    _record.ttl = REGISTRY_TTL;
    _record.tls = "";

    // Notifications posted to this very service must pass its own
    // authentication like any other caller's.
    _snc.setAuthentication(authenticationToken());
    // No observer: the system manager relays notifications and has no use
    // for them itself, and a client with an observer would keep a WebSocket
    // to this very service that every broadcast is framed, sent and
    // dispatched once more over, for nobody.
    _snc.initialize();

    createManagers(app.config());
    _serviceManager->addObserver(
        Poco::NObserver<SkillManager, ServiceManagerNotification>(*_skillManager, &SkillManager::onServiceNotify));
    createHandlers();
    registerHandlers();
    registerPort(Routes::SYSTEM_NOTIFICATIONS_PORT, _systemNotifyPort);
    registerPort(Routes::WIFI_MESSAGES_PORT, _wifiMessagePort);

    _wifiMonitor = std::make_shared<WifiMessageMonitor>(_wifiMessagePort);
    _wifiManager->registerMonitor(_wifiMonitor);
}

void SystemManager::createManagers(Poco::Util::AbstractConfiguration& config)
{
    // Each manager sees only its own subtree, so its keys are relative to it,
    // and an absent subtree is an empty view: the manager keeps its defaults.
    // The order is the creation order; later managers are given earlier ones.
    // Each PENDING line marks where a manager not written yet is to be made
    // and stored in its member right away, with the view above it.
    const auto wifiConfig = config.createView("SystemManager.wifi");
    _wifiManager = std::make_shared<WifiManager>(wifiConfig);
    const auto serviceConfig = config.createView("SystemManager.service");
    _serviceManager = std::make_shared<ServiceManager>(serviceConfig, registryClient());
    const auto sessionConfig = config.createView("SystemManager.session");
    _sessionManager = std::make_shared<SessionManager>(sessionConfig, _serviceManager);
    const auto skillConfig = config.createView("SystemManager.skill");
    _skillManager = std::make_shared<SkillManager>(skillConfig, _sessionManager, registryClient(), _snc);
    const auto storageConfig = config.createView("SystemManager.storage");
    _storageManager = std::make_shared<StorageManager>(storageConfig);
    const auto powerConfig = config.createView("SystemManager.powerManager");
    _powerManager = std::make_shared<PowerManager>(powerConfig, _snc);
    const auto buttonConfig = config.createView("SystemManager.powerButton");
    _powerButton = std::make_shared<PowerButton>(buttonConfig, _snc, _powerManager);
    const auto credentialsConfig = config.createView("SystemManager.credentials");
    _credentialsManager = std::make_shared<CredentialsManager>(credentialsConfig, _snc);
    const auto timeConfig = config.createView("SystemManager.time");
    _timeManager = std::make_shared<TimeManager>(timeConfig);
    _systemNotifier = std::make_shared<SystemNotifier>(_systemNotifyPort);
    const auto updateConfig = config.createView("SystemManager.update");
    _updateManager = std::make_shared<UpdateManager>("SystemManager.UpdateManager", updateConfig, _skillManager,
                                                     _storageManager, _systemNotifier);

    // The one handler that takes configuration, hence made among the managers.
    _fwHandler = new FirewallHandler("SystemManager.FirewallHandler", config.createView("SystemManager.firewall"));
}

void SystemManager::createHandlers()
{
    _serviceListHandler = new ServiceListHandler(_serviceManager);
    _serviceStartHandler = new ServiceStartHandler(_serviceManager);
    _serviceStopHandler = new ServiceStopHandler(_serviceManager);
    _serviceRestartHandler = new ServiceRestartHandler(_serviceManager);
    _sessionRequestHandler = new SessionRequestHandler(_sessionManager);
    _sessionDeleteHandler = new SessionDeleteHandler(_sessionManager);
    _sessionCurrentHandler = new SessionCurrentHandler(_sessionManager);
    _sessionListHandler = new SessionListHandler(_sessionManager);
    _skillRefreshHandler = new SkillRefreshHandler(_skillManager);
    _skillListHandler = new SkillListHandler(_skillManager);
    _skillLaunchHandler = new SkillLaunchHandler(_skillManager);
    _skillTerminateHandler = new SkillTerminateHandler(_skillManager);
    _systemNotifyHandler = new SystemNotifyHandler(_systemNotifier);
    _updateHandler = new UpdateHandler(_updateManager);
    _wifiWPAHandler = new WifiWPAHandler(_wifiManager);
    _wifiInterfaceHandler = new WifiInterfaceHandler(_wifiManager);
    _versionHandler = new VersionHandler();
    _identityHandler = new IdentityHandler();
    _currentTimeHandler = new CurrentTimeHandler(_timeManager);
    _timeSynchronizationHandler = new TimeSynchronizationHandler(_timeManager);
    _timezoneHandler = new TimeZoneHandler(_timeManager);
    _credentialsHandler = new CredentialsHandler(_credentialsManager);
    _modeHandler = new ModeHandler();
    _storageHandler = new StorageHandler(_storageManager);
    _semanticStorageHandler = new SemanticStorageHandler(_storageManager);
    _systemWipeHandler = new WipeHandler(_serviceManager);
    _systemBackupHandler = new BackupHandler(_serviceManager);
    _systemRestoreHandler = new RestoreHandler(_serviceManager);
    _logHandler = new LogHandler();
    _poweroffHandler = new PowerOffHandler(_powerManager);
    _rebootHandler = new RebootHandler(_powerManager);
}

void SystemManager::registerHandlers()
{
    // Registration order is matching order: the first expression that
    // matches a path wins.
    registerHandler(Routes::expression(Routes::SERVICE_LIST), _serviceListHandler);
    registerHandler(Routes::expression(Routes::SERVICE_START), _serviceStartHandler);
    registerHandler(Routes::expression(Routes::SERVICE_STOP), _serviceStopHandler);
    registerHandler(Routes::expression(Routes::SERVICE_RESTART), _serviceRestartHandler);
    registerHandler(Routes::expression(Routes::SESSION_REQUEST), _sessionRequestHandler);
    registerHandler(Routes::expression(Routes::SESSION_DELETE), _sessionDeleteHandler);
    registerHandler(Routes::expression(Routes::SESSION_CURRENT), _sessionCurrentHandler);
    registerHandler(Routes::expression(Routes::SESSION_LIST), _sessionListHandler);
    registerHandler(Routes::expression(Routes::SKILL_REFRESH), _skillRefreshHandler);
    registerHandler(Routes::expression(Routes::SKILL_LIST), _skillListHandler);
    registerHandler(Routes::expression(Routes::SKILL_LAUNCH), _skillLaunchHandler);
    registerHandler(Routes::expression(Routes::SKILL_TERMINATE), _skillTerminateHandler);
    registerHandler(Routes::expression(Routes::WIFI_WPA), _wifiWPAHandler);
    registerHandler(Routes::expression(Routes::WIFI_INTERFACE), _wifiInterfaceHandler);
    registerHandler(Routes::expression(Routes::VERSION), _versionHandler);
    registerHandler(Routes::expression(Routes::IDENTITY), _identityHandler);
    registerHandler(Routes::expression(Routes::TIME_CURRENT), _currentTimeHandler);
    registerHandler(Routes::expression(Routes::TIME_SYNCHRONIZE), _timeSynchronizationHandler);
    registerHandler(Routes::expression(Routes::TIME_ZONE), _timezoneHandler);
    registerHandler(Routes::expression(Routes::CREDENTIALS), _credentialsHandler);
    registerHandler(Routes::expression(Routes::MODE), _modeHandler);
    registerHandler(Routes::expression(Routes::SYSTEM_NOTIFY), _systemNotifyHandler);
    registerHandler(Routes::expression(Routes::UPDATE), _updateHandler);
    registerHandler(Routes::expression(Routes::POWER_OFF), _poweroffHandler);
    registerHandler(Routes::expression(Routes::POWER_REBOOT), _rebootHandler);
    registerHandler(Routes::expression(Routes::STORAGE_MOUNTS), _storageHandler);
    registerHandler(Routes::expression(Routes::STORAGE_SEMANTIC), _semanticStorageHandler);
    registerHandler(Routes::expression(Routes::SYSTEM_WIPE), _systemWipeHandler);
    registerHandler(Routes::expression(Routes::SYSTEM_BACKUP), _systemBackupHandler);
    registerHandler(Routes::expression(Routes::SYSTEM_RESTORE), _systemRestoreHandler);
    registerHandler(Routes::expression(Routes::LOGS_UPLOAD), _logHandler);
    registerHandler(Routes::expression(Routes::DYNAMIC_FIREWALL), _fwHandler);
}

void SystemManager::onUninitialize()
{
    pemo::ServiceCore::onUninitialize();
    logger().trace("SystemManager::onUninitialize");

    delete _fwHandler;
    delete _logHandler;
    delete _sessionRequestHandler;
    delete _sessionDeleteHandler;
    delete _sessionCurrentHandler;
    delete _sessionListHandler;
    delete _skillRefreshHandler;
    delete _skillListHandler;
    delete _skillLaunchHandler;
    delete _skillTerminateHandler;
    delete _systemNotifyHandler;
    delete _updateHandler;
    delete _poweroffHandler;
    delete _rebootHandler;
    delete _wifiWPAHandler;
    delete _wifiInterfaceHandler;
    delete _versionHandler;
    delete _identityHandler;
    delete _currentTimeHandler;
    delete _timeSynchronizationHandler;
    delete _timezoneHandler;
    delete _credentialsHandler;
    delete _modeHandler;
    delete _storageHandler;
    delete _semanticStorageHandler;
    delete _systemWipeHandler;
    delete _systemBackupHandler;
    delete _systemRestoreHandler;
    // The four service handlers are deliberately left alive until the
    // destructor.

    // Observers compare equal by object and method, so a fresh one removes
    // the one added in onInitialize.
    _serviceManager->removeObserver(
        Poco::NObserver<SkillManager, ServiceManagerNotification>(*_skillManager, &SkillManager::onServiceNotify));
}

void SystemManager::onDefineOptions(Poco::Util::OptionSet&)
{
    logger().trace("SystemManager::onDefineOptions");
}

void SystemManager::onStart()
{
    pemo::ServiceCore::onStart();
    logger().trace("SystemManager::onStart");

    _reg.registerService(_record);
    // Known to our own notification client at once, not a tick later: a
    // skill launched right away is announced too.
    _snc.lookUp();
    // The start interval stays 0: the first refresh runs at once.
    _refreshServiceConnectionsTimer.setPeriodicInterval(REFRESH_INTERVAL_MS);
    _refreshServiceConnectionsTimer.start(
        Poco::TimerCallback<SystemManager>(*this, &SystemManager::onRefreshServiceConnectionsTimer));

    // The time manager has nothing to start and the power button starts its
    // own input device.
    _wifiManager->start();
    _serviceManager->start();
    _systemNotifier->start();
    _skillManager->start();
    _updateManager->start();
    _storageManager->start();
    _powerManager->start();
    _credentialsManager->start();
}

void SystemManager::onStop()
{
    pemo::ServiceCore::onStop();
    logger().trace("SystemManager::onStop");

    _refreshServiceConnectionsTimer.stop();

    // Deliberately not the reverse of the start order.
    _updateManager->stop();
    _skillManager->stop();
    _wifiManager->stop();
    _serviceManager->stop();
    _systemNotifier->stop();
    _storageManager->stop();
    _powerManager->stop();
    _credentialsManager->stop();

    _reg.deleteService(_record);
}

void SystemManager::onRefreshServiceConnectionsTimer(Poco::Timer&)
{
    _reg.refreshRecords(std::chrono::steady_clock::now());
}

void SystemManager::onCreateSession(std::shared_ptr<pemo::Session> session)
{
    if (logger().trace())
        logger().trace("SystemManager::onCreateSession " + (session ? session->token : std::string()));
}

void SystemManager::onDeleteSession(std::shared_ptr<pemo::Session> session)
{
    if (logger().trace())
        logger().trace("SystemManager::onDeleteSession " + (session ? session->token : std::string()));
}

void SystemManager::onSelectSession(std::shared_ptr<pemo::Session> session)
{
    if (logger().trace())
        logger().trace("SystemManager::onSelectSession " + (session ? session->token : std::string()));
}

void SystemManager::onSystemWipe()
{
    logger().trace("SystemManager::onSystemWipe");
}

void SystemManager::onSystemBackup(const std::string& path)
{
    if (logger().trace())
        logger().trace("SystemManager::onSystemBackup(" + path + ")");
}

void SystemManager::onSystemRestore(const std::string& path)
{
    if (logger().trace())
        logger().trace("SystemManager::onSystemRestore(" + path + ")");
}

void SystemManager::addHealthError(HealthReport& report, const std::string& error)
{
    logger().error("SystemManager::onHealth: " + error);
    report.errors.push_back(error);
}

void SystemManager::addTimezone(HealthReport& report)
{
    try
    {
        report.timezone = _timeManager->getTimezone();
    }
    catch (const std::exception& e)
    {
        addHealthError(report, std::string("Failed to get timezone: ") + e.what());
    }
}

std::string SystemManager::onHealth()
{
    logger().trace("SystemManager::onHealth");
    HealthReport report;

    if (!_timeManager)
        addHealthError(report, "No time manager running");
    else
        addTimezone(report);
    if (!_skillManager)
        addHealthError(report, "No skill manager running");
    else
        _skillManager->list(report.skills);
    if (!_storageManager)
        addHealthError(report, "No storage manager running");
    else
        for (const StorageManager::SemanticUsage& area : _storageManager->getSemanticStorage())
            report.usage.push_back({area.type, area.size});
    if (!_serviceManager)
    {
        addHealthError(report, "No service manager running");
    }
    else
    {
        const ServiceManager::Health health = _serviceManager->getHealth();
        report.backup = toStats(health.backup);
        report.wipe = toStats(health.wipe);
        report.restore = toStats(health.restore);
    }

    try
    {
        return report.toJSON();
    }
    catch (const std::exception& e)
    {
        logger().error(std::string("Could not serialize json: ") + e.what());
        return std::string();
    }
}

} // namespace system
} // namespace pemo

POCO_BEGIN_MANIFEST(pemo::ServiceCore)
POCO_EXPORT_INTERFACE(pemo::system::SystemManager, "SystemManager")
POCO_END_MANIFEST
