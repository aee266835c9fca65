#pragma once

#include <pemo/util/Task.h>

#include <Poco/AutoPtr.h>
#include <Poco/Logger.h>
#include <Poco/Mutex.h>
#include <Poco/Thread.h>
#include <Poco/Timer.h>
#include <Poco/Types.h>
#include <Poco/Util/AbstractConfiguration.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

struct wpa_ctrl;

namespace pemo {
namespace system {

/// The client of wpa_supplicant's control socket for one wireless
/// interface: one connection for commands, one attached for events.
///
/// start() arms a timer that connects at once and then every
/// reconnect_interval while disconnected, and a thread that drains the event
/// connection once a second and hands each line, whole, to the monitors in
/// registration order. A failed request or receive, a "CTRL-EVENT-TERMINATING"
/// line, or a PING unanswered on a timer tick drops both connections; the
/// timer brings them back, so a restart of wpa_supplicant, even from outside
/// and with nobody calling request(), is ridden out within reconnect_interval.
/// Every operation is safe to call from any thread; one recursive lock
/// serialises connecting, requests, draining and the monitors.
class WPAControlInterface
{
public:
    /// Receives every unsolicited event line wpa_supplicant sends, with its
    /// "<N>" priority prefix. Called on the interface's event thread with
    /// the interface's lock held: an implementation may call request() (the
    /// lock is recursive) but must never wait for another thread that needs
    /// the interface.
    class Monitor
    {
    public:
        virtual void onMessage(const std::string& message) = 0;
        virtual ~Monitor() = default;
    };

    struct Params
    {
        /// The wireless interface; also the name of its control socket.
        std::string interface = "wlan0";
        /// The directory holding wpa_supplicant's control sockets.
        std::string runtime = "/var/run/wpa_supplicant";
        /// Milliseconds between two connection attempts while disconnected.
        Poco::UInt32 reconnect_interval = 15000;
        /// Milliseconds between two passes over the event connection; fixed.
        Poco::UInt32 monitor_interval = 1000;

        Params() = default;
        /// Reads "interface", "runtime" and "reconnect_interval"; an absent
        /// key (or a null view) keeps its default. Throws
        /// Poco::SyntaxException when reconnect_interval is not a number.
        explicit Params(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config);
    };

    /// Opens nothing: the connections are made by start()'s timer.
    explicit WPAControlInterface(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config);
    explicit WPAControlInterface(const Params& params);
    /// Stops what still runs; owners call stop() themselves first.
    virtual ~WPAControlInterface();

    WPAControlInterface(const WPAControlInterface&) = delete;
    WPAControlInterface& operator=(const WPAControlInterface&) = delete;

    /// Starts the reconnection timer (first attempt at once, on the timer's
    /// thread) and the event thread. Allowed again after stop(); does
    /// nothing while started.
    void start();
    /// Stops the timer, ends the event thread and closes both connections.
    void stop();

    /// Sends command and waits for wpa_supplicant's reply (the client
    /// library's own time-out applies). True with the reply text; false with
    /// the reason in reply: "Not connected to wpa_supplicant", or "Timeout
    /// communicating with WPA Control Interface" / "Error communicating with
    /// WPA Control Interface", which also drop both connections. Throws
    /// WPAException "What a terrible failure!" on a result the library does
    /// not document. A hung wpa_supplicant holds the caller (and the lock)
    /// for twice the library's time-out: the reply, then the detach.
    bool request(const std::string& command, std::string& reply);

    /// Appends monitor; a monitor registered twice is called twice.
    void registerMonitor(std::shared_ptr<Monitor> monitor);
    /// Removes the first registration of monitor; an unknown one is ignored.
    void unregisterMonitor(std::shared_ptr<Monitor> monitor);
    /// Hands message to every monitor, in registration order, under the lock.
    void onMessage(const std::string& message);

    const Params& params() const { return _params; }
    /// The control socket: runtime with interface appended.
    std::string socketPath() const;
    bool connected() const { return _connected; }

private:
    class MonitorTask : public pemo::util::Task
    {
    public:
        explicit MonitorTask(WPAControlInterface& parent);
        void run() override;
        /// Delivers every pending event line; stops early when the
        /// connection fails or wpa_supplicant says it terminates (and the
        /// connections are dropped). The parent's lock is held.
        void drain();

    private:
        void deliver(const std::string& message);

        WPAControlInterface& _parent;
    };

    /// Opens both connections and attaches the event one. Throws
    /// WPAException; what was opened so far stays until the next
    /// connect() or disconnect().
    void connect();
    /// Closes both connections; never throws.
    void disconnect();
    /// Whether the command connection's PING is answered; the lock is held.
    bool answersPing();
    /// Delivers the event lines queued on the event connection, if there is
    /// one; the lock is held.
    void drainEvents();
    /// At once, then every reconnect_interval: connects when disconnected,
    /// and reconnects when a connected wpa_supplicant does not answer PING.
    void onRefreshConnectionTimer(Poco::Timer& timer);

    Params _params;
    Poco::Logger& _logger;
    Poco::Mutex _mutex;
    wpa_ctrl* _connCommands = nullptr;
    wpa_ctrl* _connEvents = nullptr;
    Poco::Thread _thread;
    std::unique_ptr<MonitorTask> _monitor;
    std::vector<std::shared_ptr<Monitor>> _handlers;
    Poco::Timer _refreshConnectionTimer;
    std::atomic<bool> _connected{false};
    // Serialises start() and stop() with each other. They stop the timer and
    // join the thread without _mutex: both wait for a callback that may be
    // waiting for _mutex.
    std::mutex _lifecycleMutex;
    bool _started = false;
};

} // namespace system
} // namespace pemo
