#include "network/WPAControlInterface.h"

#include "network/WPAException.h"

#include <pemo/ErrorTracker.h>

#include <Poco/Path.h>

#include <cstddef>
#include <wpa_ctrl.h>

#include <algorithm>
#include <exception>
#include <utility>

namespace pemo {
namespace system {

namespace {

const std::string DOWN_CODE("WPA_CONTROL_INTERFACE_DOWN");
const std::size_t BUFFER_SIZE = 4096;
const char* const TERRIBLE = "What a terrible failure!";

// "<N>CTRL-EVENT-TERMINATING", whatever the priority digit.
bool terminating(const std::string& message)
{
    static const std::string event("CTRL-EVENT-TERMINATING");
    const std::size_t word = message.find('>');
    return message.compare(0, 1, "<") == 0 && word != std::string::npos &&
           message.compare(word + 1, event.size(), event) == 0;
}

// Event lines that arrive on the command connection while a reply is awaited.
// They are not events this client attached for, so they only reach the log.
void unsolicited(char* message, std::size_t length)
{
    Poco::Logger::get("SystemManager.WPAControlInterface.callback")
        .warning("Received unsolicited message from wpa_supplicant: " + std::string(message, length));
}

} // namespace

WPAControlInterface::Params::Params(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config)
{
    if (config.isNull())
        return;
    interface = config->getString("interface", interface);
    runtime = config->getString("runtime", runtime);
    reconnect_interval = config->getUInt("reconnect_interval", reconnect_interval);
}

WPAControlInterface::WPAControlInterface(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config)
    : WPAControlInterface(Params(config))
{
}

WPAControlInterface::WPAControlInterface(const Params& params)
    : _params(params), _logger(Poco::Logger::get("SystemManager.WPAControlInterface")),
      _thread("WPAMonitor"), _refreshConnectionTimer(0, 0)
{
}

WPAControlInterface::~WPAControlInterface()
{
    // Owners stop it first; this only keeps a forgotten timer or thread
    // from outliving the object.
    stop();
}

std::string WPAControlInterface::socketPath() const
{
    Poco::Path path(_params.runtime);
    path.append(Poco::Path(_params.interface));
    return path.toString();
}

void WPAControlInterface::start()
{
    _logger.trace("WPAControlInterface::start");
    std::lock_guard<std::mutex> lifecycle(_lifecycleMutex);
    // The timer refuses a second start; a started interface is left as it is.
    if (_started)
        return;
    _started = true;
    Poco::Mutex::ScopedLock lock(_mutex);
    _refreshConnectionTimer.setPeriodicInterval(_params.reconnect_interval);
    _refreshConnectionTimer.start(
        Poco::TimerCallback<WPAControlInterface>(*this, &WPAControlInterface::onRefreshConnectionTimer));
    if (!_thread.isRunning())
    {
        // A task once cancelled stays so: each run gets a fresh one.
        _monitor = std::make_unique<MonitorTask>(*this);
        _thread.start(*_monitor);
    }
}

void WPAControlInterface::stop()
{
    _logger.trace("WPAControlInterface::stop");
    std::lock_guard<std::mutex> lifecycle(_lifecycleMutex);
    _started = false;
    _refreshConnectionTimer.stop();
    if (_thread.isRunning())
    {
        _monitor->cancel();
        _thread.wakeUp();
        _thread.join();
    }
    disconnect();
}

void WPAControlInterface::connect()
{
    _logger.trace("WPAControlInterface::connect");
    Poco::Mutex::ScopedLock lock(_mutex);
    // Also closes what an earlier failed attempt left open.
    disconnect();

    const std::string path = socketPath();
    _connCommands = wpa_ctrl_open(path.c_str());
    if (!_connCommands)
        throw WPAException("Unable to open wpa ctrl interface");
    _connEvents = wpa_ctrl_open(path.c_str());
    if (!_connEvents)
        throw WPAException("Unable to open wpa ctrl interface");

    switch (wpa_ctrl_attach(_connEvents))
    {
    case 0:
        _connected = true;
        return;
    case -1:
        throw WPAException("Failed to attach monitor");
    case -2:
        throw WPAException("Timeout attaching monitor");
    default:
        throw WPAException(TERRIBLE);
    }
}

void WPAControlInterface::disconnect()
{
    _logger.trace("WPAControlInterface::disconnect");
    Poco::Mutex::ScopedLock lock(_mutex);
    _connected = false;
    if (_connCommands)
    {
        wpa_ctrl_close(_connCommands);
        _connCommands = nullptr;
    }
    if (_connEvents)
    {
        const int result = wpa_ctrl_detach(_connEvents);
        if (result == -1 || result == -2)
            _logger.warning("WPAControlInterface::disconnect Failed to detach monitor; closing it all the same");
        else if (result != 0)
            _logger.warning("WPAControlInterface::disconnect What a terrible failure; closing it all the same");
        wpa_ctrl_close(_connEvents);
        _connEvents = nullptr;
    }
}

bool WPAControlInterface::request(const std::string& command, std::string& reply)
{
    Poco::Mutex::ScopedLock lock(_mutex);
    if (!_connCommands)
    {
        reply = "Not connected to wpa_supplicant";
        return false;
    }
    _logger.debug("request " + command);

    char buffer[BUFFER_SIZE];
    std::size_t length = sizeof(buffer);
    const int result =
        wpa_ctrl_request(_connCommands, command.data(), command.size(), buffer, &length, unsolicited);
    switch (result)
    {
    case 0:
        reply.assign(buffer, length);
        return true;
    case -2:
        reply = "Timeout communicating with WPA Control Interface";
        break;
    case -1:
        reply = "Error communicating with WPA Control Interface";
        break;
    default:
        throw WPAException(TERRIBLE);
    }
    _logger.warning("WPAControlInterface::request " + command + ": " + reply + "; reconnecting later");
    disconnect();
    return false;
}

void WPAControlInterface::registerMonitor(std::shared_ptr<Monitor> monitor)
{
    _logger.debug("registerMonitor");
    Poco::Mutex::ScopedLock lock(_mutex);
    _handlers.push_back(std::move(monitor));
}

void WPAControlInterface::unregisterMonitor(std::shared_ptr<Monitor> monitor)
{
    _logger.debug("unregisterMonitor");
    Poco::Mutex::ScopedLock lock(_mutex);
    const auto it = std::find_if(_handlers.begin(), _handlers.end(),
                                 [&](const std::shared_ptr<Monitor>& h) { return h.get() == monitor.get(); });
    if (it != _handlers.end())
        _handlers.erase(it);
}

void WPAControlInterface::onMessage(const std::string& message)
{
    Poco::Mutex::ScopedLock lock(_mutex);
    for (const auto& handler : _handlers)
        handler->onMessage(message);
}

void WPAControlInterface::drainEvents()
{
    if (_monitor && _connEvents)
        _monitor->drain();
}

// A wpa_supplicant restarted from outside has a new socket; the old
// connections stay open but nothing reaches them any more.
bool WPAControlInterface::answersPing()
{
    char buffer[16];
    std::size_t length = sizeof(buffer);
    const int result = wpa_ctrl_request(_connCommands, "PING", 4, buffer, &length, unsolicited);
    return result == 0 && std::string(buffer, length) == "PONG\n";
}

void WPAControlInterface::onRefreshConnectionTimer(Poco::Timer&)
{
    Poco::Mutex::ScopedLock lock(_mutex);
    if (_connected)
    {
        // A terminating wpa_supplicant says so first and then stops answering:
        // its word, queued here, spares a PING that would wait out the
        // library's time-out with the lock held.
        drainEvents();
        if (_connected && _connCommands && answersPing())
            return;
        if (_connected)
        {
            _logger.warning("WPAControlInterface::onRefreshConnectionTimer wpa_supplicant does not answer PING on " +
                            socketPath() + "; reconnecting both connections");
            // What it said before it went would go with the connection.
            drainEvents();
            disconnect();
        }
    }
    try
    {
        connect();
        pemo::ErrorTracker::get().setStatus(DOWN_CODE, pemo::ErrorTracker::Status::FIXED);
    }
    catch (const std::exception& e)
    {
        pemo::ErrorTracker::get().post(DOWN_CODE, pemo::ErrorTracker::Type::RECOVERABLE);
        _logger.warning(std::string("WPAControlInterface::onRefreshConnectionTimer ") +
                        " Failed to connect to WPA Control Interface: " + e.what() + "; retrying in " +
                        std::to_string(_params.reconnect_interval) + " ms");
    }
}

WPAControlInterface::MonitorTask::MonitorTask(WPAControlInterface& parent) : pemo::util::Task("MonitorTask"), _parent(parent)
{
}

void WPAControlInterface::MonitorTask::run()
{
    _parent._logger.trace("MonitorTask::run");
    while (!isCancelled())
    {
        Poco::Thread::trySleep(static_cast<long>(_parent._params.monitor_interval));
        if (isCancelled())
            return;
        Poco::Mutex::ScopedLock lock(_parent._mutex);
        if (_parent._connEvents)
            drain();
        Poco::Thread::yield();
    }
}

void WPAControlInterface::MonitorTask::deliver(const std::string& message)
{
    // A monitor that throws must not end the event thread for the others.
    try
    {
        _parent.onMessage(message);
    }
    catch (const std::exception& e)
    {
        _parent._logger.warning("WPAControlInterface::Monitor a monitor failed on '" + message + "': " + e.what() +
                                "; going on with the next line");
    }
}

void WPAControlInterface::MonitorTask::drain()
{
    Poco::Logger& logger = _parent._logger;
    wpa_ctrl* const connection = _parent._connEvents;
    // A monitor's failed request closes the connection under this loop.
    while (_parent._connEvents == connection)
    {
        const int pending = wpa_ctrl_pending(connection);
        if (pending == 0)
            return;
        if (pending != 1)
        {
            logger.warning(std::string("WPAControlInterface::Monitor ") +
                           (pending == -1 ? "WPA Pending error" : "What a terrible failure") + "; polling again later");
            return;
        }
        char buffer[BUFFER_SIZE];
        std::size_t length = sizeof(buffer);
        const int result = wpa_ctrl_recv(connection, buffer, &length);
        if (result == 0)
        {
            const std::string message(buffer, length);
            logger.information(message);
            deliver(message);
            if (terminating(message))
            {
                // Its last word: the socket goes with it, and a restarted one
                // is a new socket that the timer connects to.
                logger.warning("WPAControlInterface::Monitor wpa_supplicant is terminating; reconnecting later");
                _parent.disconnect();
                return;
            }
        }
        else if (result == -1)
        {
            logger.warning("WPAControlInterface::Monitor Could not receive a wpa message; reconnecting later");
            _parent.disconnect();
            // The connection is closed: asking it again would use freed memory.
            return;
        }
        else
        {
            logger.warning("WPAControlInterface::Monitor What a terrible failure");
        }
    }
}

} // namespace system
} // namespace pemo
