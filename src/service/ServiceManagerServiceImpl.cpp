#include "service/ServiceManagerServiceImpl.h"

#include "common/SystemUtil.h"

#include <Poco/Exception.h>
#include <Poco/Format.h>

#include <csignal>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>

namespace pemo {
namespace system {

namespace {

using Config = Poco::Util::AbstractConfiguration;

Config::Keys keysOf(const Config& config, const std::string& key)
{
    Config::Keys keys;
    config.keys(key, keys);
    return keys;
}

} // namespace

ServiceManager::ServiceImpl::Mode::Mode(const Config* config)
{
    if (!config)
        return;
    for (int i = 0;; ++i)
    {
        const std::string key = Poco::format("arguments[%d]", i);
        if (!config->has(key))
            break;
        arguments.push_back(config->getString(key));
    }
    for (const auto& name : keysOf(*config, "environment"))
        env[name] = config->getString("environment." + name);
    directory = config->getString("directory", directory);
    enabled = config->getBool("enabled", enabled);
}

ServiceManager::ServiceImpl::Params::Params(const Config* config)
{
    if (!config)
        return;
    name = config->getString("name");
    order = config->getUInt("order", order);
    executable = config->getString("executable");
    for (const auto& mode : keysOf(*config, "modes"))
        modes.emplace(mode, Mode(config->createView("modes." + mode).get()));
    startup_timeout = config->getUInt("startup_timeout", startup_timeout);
    shutdown_timeout = config->getUInt("shutdown_timeout", shutdown_timeout);
    crash_code = config->getString("crash_code", crash_code);
}

ServiceManager::ServiceImpl::ServiceImpl(const Config* config)
    : _params(config),
      _logger(Poco::Logger::get("SystemManager.ServiceManager.Service")),
      _lastStartTime(TimePoint::min()),
      _cleaner(_logger)
{
}

// Only the output drain ends here: the monitor stops and reaps every child
// before it lets go of its services.
ServiceManager::ServiceImpl::~ServiceImpl()
{
    _cleaner.stop();
}

const std::string& ServiceManager::ServiceImpl::name() const
{
    return _params.name;
}

std::uint32_t ServiceManager::ServiceImpl::order() const
{
    return _params.order;
}

bool ServiceManager::ServiceImpl::enabled() const
{
    return _params.enabled;
}

void ServiceManager::ServiceImpl::setEnabled(bool enabled)
{
    _params.enabled = enabled;
}

const std::string& ServiceManager::ServiceImpl::crashCode() const
{
    return _params.crash_code;
}

std::uint32_t ServiceManager::ServiceImpl::startupTimeout() const
{
    return _params.startup_timeout;
}

std::uint32_t ServiceManager::ServiceImpl::shutdownTimeout() const
{
    return _params.shutdown_timeout;
}

ServiceManager::ServiceImpl::Mode ServiceManager::ServiceImpl::getMode() const
{
    auto it = _params.modes.find(system::getMode());
    if (it == _params.modes.end())
        it = _params.modes.find("default");
    if (it == _params.modes.end())
        throw ServiceManagerException("Invalid launch configuration for " + _params.name);
    return it->second;
}

// A program that cannot be started leaves the service without a child
// (pid 0) rather than ending the monitor's pass: the services after it are
// still started, and this one is tried again next pass.
void ServiceManager::ServiceImpl::launch(const Mode& mode)
{
    // Fresh pipes per child: the previous child's are closed with its drain.
    _pipeIn = Poco::Pipe();
    _pipeOut = Poco::Pipe();
    ChildProcess::Command command;
    command.executable = _params.executable;
    command.arguments = mode.arguments;
    command.workingDirectory = mode.directory;
    command.environment = mode.env;
    command.input = _pipeIn.readHandle();
    command.output = _pipeOut.writeHandle();
    command.error = _pipeOut.writeHandle();
    _lastStartTime = Clock::now();
    std::shared_ptr<ChildProcess> child;
    try
    {
        child = ChildProcess::launch(command);
    }
    catch (const Poco::Exception& e)
    {
        _logger.error("Service(" + _params.name + ")::launch cannot start " + _params.executable + ": " +
                      e.displayText() + "; trying again next pass");
    }
    _pipeIn.close(Poco::Pipe::CLOSE_READ);
    _pipeOut.close(Poco::Pipe::CLOSE_WRITE);
    {
        std::lock_guard<std::mutex> lock(_processMutex);
        _process = child;
        _running = child != nullptr;
    }
    if (child)
        _cleaner.start(_pipeOut, _params.name + ": ");
}

int ServiceManager::ServiceImpl::pid() const
{
    std::lock_guard<std::mutex> lock(_processMutex);
    return _process ? static_cast<int>(_process->pid()) : 0;
}

bool ServiceManager::ServiceImpl::isRunning() const
{
    std::lock_guard<std::mutex> lock(_processMutex);
    return _running;
}

ServiceManager::ServiceImpl::TimePoint ServiceManager::ServiceImpl::lastStartTime() const
{
    return _lastStartTime;
}

// WNOWAIT leaves the child to wait(), and P_PID keeps the probe off every
// process that is not this service's own child.
bool ServiceManager::ServiceImpl::hasExited() const
{
    const int child = pid();
    siginfo_t info;
    std::memset(&info, 0, sizeof(info));
    if (::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) == 0)
        return info.si_pid == child;
    switch (errno)
    {
    case ECHILD:
        throw ServiceManagerException("no child processes to wait for");
    case EINTR:
        throw ServiceManagerException("wait interrupted");
    default:
        throw ServiceManagerException(std::string("wait unhandled returned error: ") + std::strerror(errno));
    }
}

// Waiting without reaping first means the pid stays the child's (a zombie)
// until the reap below, which happens under the lock that kill() takes: the
// kill timer can never signal a pid that has been handed to a new process.
void ServiceManager::ServiceImpl::waitForExit(int child) const
{
    siginfo_t info;
    while (::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT) != 0)
    {
        if (errno != EINTR)
            throw ServiceManagerException(std::string("waitid failed: ") + std::strerror(errno));
    }
}

int ServiceManager::ServiceImpl::wait()
{
    if (!_process)
        throw ServiceManagerException(_params.name + " was never launched");
    if (!isRunning())
        throw ServiceManagerException(_params.name + " is not running");
    waitForExit(pid());
    int code = -1;
    {
        std::lock_guard<std::mutex> lock(_processMutex);
        _running = false;
        try
        {
            code = _process->wait();
        }
        catch (const Poco::Exception& e)
        {
            throw ServiceManagerException("cannot reap " + _params.name + ": " + e.displayText());
        }
    }
    _cleaner.stop();
    return code;
}

void ServiceManager::ServiceImpl::terminate()
{
    std::lock_guard<std::mutex> lock(_processMutex);
    if (!_process)
        throw ServiceManagerException(_params.name + " was never launched");
    if (!_running)
        return;
    try
    {
        _process->signal(SIGINT);
    }
    catch (const Poco::Exception& e)
    {
        _logger.error("Service(" + _params.name + ")::terminate " + "Error: " + e.displayText());
    }
}

void ServiceManager::ServiceImpl::kill()
{
    std::lock_guard<std::mutex> lock(_processMutex);
    if (!_process || !_running)
        return;
    try
    {
        _process->signal(SIGKILL);
    }
    catch (const Poco::Exception& e)
    {
        _logger.error("Service(" + _params.name + ")::kill " + "Error: " + e.displayText());
    }
}

} // namespace system
} // namespace pemo
