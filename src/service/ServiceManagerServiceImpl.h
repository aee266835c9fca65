#pragma once

#include "common/ChildProcess.h"
#include "service/ServiceManager.h"

#include <pemo/util/PipeCleaner.h>

#include <Poco/Logger.h>
#include <Poco/Pipe.h>
#include <Poco/Util/AbstractConfiguration.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace pemo {
namespace system {

/// One supervised service: how to launch it in each device mode, and its
/// current child process.
///
/// The monitor's thread, or an endpoint thread holding the monitor's lock,
/// drives it; only kill() may be called from another thread (the kill timer).
class ServiceManager::ServiceImpl
{
public:
    using Handle = std::shared_ptr<ServiceImpl>;
    using Clock = std::chrono::steady_clock;
    using TimePoint = Clock::time_point;

    /// How to launch the service in one device mode.
    struct Mode
    {
        using Args = std::vector<std::string>;
        using Env = std::map<std::string, std::string>;

        Args arguments;
        Env env;
        /// Working directory of the child; empty keeps the daemon's.
        std::string directory;
        /// A mode must opt in: without "enabled" the service does not run.
        bool enabled = false;

        Mode() = default;
        /// Reads "arguments[i]" up to the first missing index, every key of
        /// "environment", "directory" and "enabled". A null config gives the
        /// default Mode. Throws Poco::SyntaxException for a malformed
        /// "enabled".
        explicit Mode(const Poco::Util::AbstractConfiguration* config);
    };

    struct Params
    {
        using Map = std::unordered_map<std::string, Mode>;

        std::string name;
        /// Services without an order start after every ordered one.
        std::uint32_t order = 0xFFFFFFFF;
        std::string executable;
        Map modes{10};
        /// Changed only at run time, by the service endpoints.
        bool enabled = true;
        std::uint32_t startup_timeout = 10000;
        std::uint32_t shutdown_timeout = 10000;
        std::string crash_code = "SERVICE_CRASH_UNKNOWN";

        Params() = default;
        /// Throws Poco::NotFoundException without "name" or "executable",
        /// Poco::SyntaxException for a malformed number or boolean. A null
        /// config keeps the defaults.
        explicit Params(const Poco::Util::AbstractConfiguration* config);
    };

    /// Reads the service's Params from config (see Params).
    explicit ServiceImpl(const Poco::Util::AbstractConfiguration* config);
    virtual ~ServiceImpl();

    ServiceImpl(const ServiceImpl&) = delete;
    ServiceImpl& operator=(const ServiceImpl&) = delete;

    const std::string& name() const;
    std::uint32_t order() const;
    bool enabled() const;
    void setEnabled(bool enabled);
    const std::string& crashCode() const;
    std::uint32_t startupTimeout() const;
    std::uint32_t shutdownTimeout() const;

    /// The launch description for the device's current operating mode, or
    /// the "default" one. Throws ServiceManagerException "Invalid launch
    /// configuration for " + name when neither exists.
    Mode getMode() const;
    /// Launches the executable as mode describes, its standard output and
    /// error drained into the log. A program that cannot be started is
    /// logged and leaves the service without a child: pid() is 0 and
    /// isRunning() false until the next launch.
    void launch(const Mode& mode);

    /// The child's process id; 0 before the first launch.
    int pid() const;
    /// True from launch until the child has been reaped.
    bool isRunning() const;
    /// When the last launch happened; TimePoint::min() before the first.
    TimePoint lastStartTime() const;

    /// True when the running child has exited; does not reap it, and looks
    /// at no other process. Throws ServiceManagerException when the child
    /// cannot be probed ("no child processes to wait for", "wait
    /// interrupted", "wait unhandled returned error: ...").
    bool hasExited() const;
    /// Blocks until the child ends, reaps it and returns its exit code (a
    /// child ended by signal N gives 256 + N). Throws ServiceManagerException
    /// when the service was never launched or is not running.
    int wait();
    /// Sends the running child SIGINT; a child already reaped is left alone.
    /// Throws ServiceManagerException when the service was never launched.
    void terminate();
    /// Sends the running child SIGKILL; safe from any thread, and a no-op
    /// once the child has been reaped.
    void kill();

private:
    void waitForExit(int pid) const;

    Params _params;
    Poco::Logger& _logger;
    std::shared_ptr<ChildProcess> _process;
    TimePoint _lastStartTime;
    Poco::Pipe _pipeIn;
    Poco::Pipe _pipeOut;
    pemo::util::PipeCleaner _cleaner;
    /// Guards _process and _running against the kill timer's thread.
    mutable std::mutex _processMutex;
    bool _running = false;
};

} // namespace system
} // namespace pemo
