#include "network/Udhcpc.h"

#include "common/ChildProcess.h"
#include "common/SystemUtil.h"

#include <Poco/Process.h>

#include <cerrno>
#include <csignal>
#include <memory>
#include <sstream>
#include <thread>
#include <vector>

namespace pemo {
namespace system {

int getPID(const std::string& name)
{
    const ProgramResult result = runProgram("pgrep", {"-f", name});
    std::istringstream output(result.output);
    std::string first;
    output >> first;
    return first.empty() ? 0 : std::stoi(first);
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
