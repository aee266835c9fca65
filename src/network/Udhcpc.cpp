#include "network/Udhcpc.h"

#include "common/ChildProcess.h"
#include "common/SystemUtil.h"

#include <Poco/Process.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <thread>
#include <vector>

namespace pemo {
namespace system {

int getPID(const std::string& name)
{
    const std::vector<int> pids = getPIDs(name);
    return pids.empty() ? 0 : pids.front();
}

std::vector<int> getPIDs(const std::string& name)
{
    const ProgramResult result = runProgram("pgrep", {"-f", name});
    std::istringstream output(result.output);
    std::vector<int> pids;
    std::string pid;
    while (output >> pid)
        pids.push_back(std::stoi(pid));
    return pids;
}

Udhcpc::Params::Params(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config)
{
    if (config.isNull())
        return;
    executable = config->getString("executable", executable);
    arguments = config->getString("arguments", arguments);
}

Udhcpc::Udhcpc(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config) : Udhcpc(Params(config))
{
}

Udhcpc::Udhcpc(const Params& params) : _params(params), _logger(Poco::Logger::get("SystemManager.Udhcpc"))
{
}

void Udhcpc::start()
{
    ChildProcess::Command command;
    command.executable = _params.executable;
    command.arguments = {_params.arguments};
    const std::shared_ptr<ChildProcess> child = ChildProcess::launch(command);
    // Nothing waits for the client, but an unreaped one would stay a zombie
    // that pgrep still finds and kill() still "signals".
    std::thread([child]() { child->wait(); }).detach();
}

namespace {

// Alive and not a zombie: a client reaped late by its parent (init, for
// the one ifup started) has done all it will do once it is a zombie.
bool alive(int pid)
{
    if (::kill(pid, 0) != 0)
        return false;
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(stat, line);
    const std::size_t end = line.rfind(')');
    return end == std::string::npos || line.compare(end + 1, 2, " Z") != 0;
}

} // namespace

void Udhcpc::stop()
{
    std::vector<int> pids;
    try
    {
        pids = getPIDs(_params.executable);
    }
    catch (const std::exception& e)
    {
        _logger.error("Udhcpc::stop cannot list the running clients: " + std::string(e.what()) + "; none stopped");
        return;
    }
    for (const int pid : pids)
    {
        if (::kill(pid, SIGTERM) == 0)
            _logger.information("Udhcpc::stop sent SIGTERM to udhcpc " + std::to_string(pid));
        else if (errno != ESRCH)
            _logger.error("Udhcpc::stop cannot signal udhcpc " + std::to_string(pid) + ": " + std::strerror(errno));
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(STOP_WAIT_MS);
    for (const int pid : pids)
    {
        while (alive(pid) && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (alive(pid))
        {
            _logger.error("Udhcpc::stop udhcpc " + std::to_string(pid) + " still runs " +
                          std::to_string(STOP_WAIT_MS) + " ms after SIGTERM; killing it");
            ::kill(pid, SIGKILL);
        }
    }
}

bool Udhcpc::isRunning()
{
    // Process id 0 would ask after this whole process group.
    const int pid = getPID(_params.executable);
    return pid > 0 && Poco::Process::isRunning(pid);
}

bool Udhcpc::renew()
{
    const int pid = getPID(_params.executable);
    if (pid <= 0 || !Poco::Process::isRunning(pid))
    {
        _logger.critical("udhcpc not running");
        return false;
    }
    if (::kill(pid, SIGUSR1) == 0)
    {
        _logger.information("Sent signal to udhcpc to renew lease");
        return true;
    }
    const int error = errno;
    switch (error)
    {
    case EINVAL:
        _logger.error(std::string("Udhcpc::renew ") + "The signum argument is an invalid or" + "unsupported number");
        break;
    case EPERM:
        _logger.error(std::string("Udhcpc::renew ") + "You do not have the privilege to send a signal" +
                      "to the process or any of the processes in the " + "process group named by pid");
        break;
    case ESRCH:
        _logger.error(std::string("Udhcpc::renew ") + "The pid argument (" + std::to_string(pid) +
                      ") does not refer to " + "an existing process or group.");
        break;
    default:
        _logger.error(std::string("Udhcpc::renew ") + "Unknown error: " + std::to_string(error));
        break;
    }
    return false;
}

} // namespace system
} // namespace pemo
