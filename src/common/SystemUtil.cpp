#include "common/SystemUtil.h"

#include "common/ChildProcess.h"

#include <Poco/Environment.h>
#include <Poco/Exception.h>
#include <Poco/File.h>
#include <Poco/Logger.h>
#include <Poco/NumberFormatter.h>
#include <Poco/Path.h>
#include <Poco/Pipe.h>
#include <Poco/String.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace pemo {
namespace system {

namespace {

const std::size_t READ_BLOCK = 8192;

Poco::Logger& utilLogger()
{
    return Poco::Logger::get("SystemManager.SystemUtil");
}

// Resolving the program first tells "could not start" apart from "failed"
// with a message that names the program as the caller gave it.
bool resolveProgram(const std::string& program, std::string& resolved)
{
    Poco::Path path;
    if (program.find('/') != std::string::npos)
        path.assign(program);
    else if (!Poco::Path::find(Poco::Environment::get("PATH", ""), program, path))
        return false;

    try
    {
        Poco::File file(path);
        if (!file.exists() || !file.isFile() || !file.canExecute())
            return false;
    }
    catch (const Poco::Exception&)
    {
        return false;
    }
    resolved = path.toString();
    return true;
}

// Reads the pipe to its end but keeps at most MAX_PROGRAM_OUTPUT bytes, so a
// flooding program cannot grow the daemon. Never throws: on a read error the
// pipe is closed, which ends a child still writing with SIGPIPE instead of
// leaving it blocked, and the caller goes on to reap it.
std::string readToEnd(Poco::Pipe& pipe, const std::string& program)
{
    std::string output;
    char buffer[READ_BLOCK];
    try
    {
        int n = 0;
        while ((n = pipe.readBytes(buffer, static_cast<int>(READ_BLOCK))) > 0)
        {
            const std::size_t room = MAX_PROGRAM_OUTPUT - output.size();
            output.append(buffer, std::min(room, static_cast<std::size_t>(n)));
        }
    }
    catch (const std::exception& e)
    {
        utilLogger().error("runProgram " + program + ": reading its output failed: " + e.what() +
                           "; closing the pipe and waiting for it to end");
        pipe.close(Poco::Pipe::CLOSE_READ);
    }
    if (output.size() == MAX_PROGRAM_OUTPUT)
        utilLogger().warning("runProgram " + program + ": output cut at " +
                             Poco::NumberFormatter::format(MAX_PROGRAM_OUTPUT) + " bytes");
    return output;
}

// /dev/null opened for writing, for the scope of one launch.
class NullDevice
{
public:
    NullDevice() = default;
    ~NullDevice()
    {
        if (_fd >= 0)
            ::close(_fd);
    }
    NullDevice(const NullDevice&) = delete;
    NullDevice& operator=(const NullDevice&) = delete;

    /// False, logged, when it cannot be opened: program is then not run.
    bool open(const std::string& program)
    {
        _fd = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (_fd >= 0)
            return true;
        utilLogger().error("runProgram cannot start " + program + ": could not open /dev/null: " +
                           std::strerror(errno));
        return false;
    }
    int fd() const { return _fd; }

private:
    int _fd = -1;
};

std::string trimmedOutput(const std::string& program)
{
    const ProgramResult result = runProgram(program, {});
    if (!result.succeeded())
        return std::string();
    return Poco::trimRight(result.output);
}

} // namespace

std::string describe(const std::exception& e)
{
    const auto* poco = dynamic_cast<const Poco::Exception*>(&e);
    return poco ? poco->displayText() : std::string(e.what());
}

ProgramResult runProgram(const std::string& program, const std::vector<std::string>& args, ProgramOutput output)
{
    return runProgram(program, args, ProgramEnvironment(), output);
}

ProgramResult runProgram(const std::string& program, const std::vector<std::string>& args,
                         const ProgramEnvironment& environment, ProgramOutput output)
{
    ProgramResult result;
    ChildProcess::Command command;
    if (!resolveProgram(program, command.executable))
    {
        utilLogger().error("runProgram cannot start " + program + ": not found or not executable");
        return result;
    }
    command.arguments = args;
    command.environment = environment;
    const bool captured = output == ProgramOutput::STDOUT || output == ProgramOutput::STDOUT_STDERR;
    Poco::Pipe pipe;
    if (captured)
        command.output = pipe.writeHandle();
    if (output == ProgramOutput::STDOUT_STDERR)
        command.error = pipe.writeHandle();
    NullDevice null;
    if (output == ProgramOutput::DISCARD)
    {
        if (!null.open(program))
            return result;
        command.output = command.error = null.fd();
    }

    std::shared_ptr<ChildProcess> child;
    try
    {
        child = ChildProcess::launch(command);
    }
    catch (const Poco::Exception& e)
    {
        utilLogger().error("runProgram cannot start " + program + ": " + e.displayText());
        return result;
    }
    // Only the child keeps the writing end: the read below ends when it exits.
    pipe.close(Poco::Pipe::CLOSE_WRITE);
    result.started = true;
    if (captured)
        result.output = readToEnd(pipe, program);
    try
    {
        result.exitCode = child->wait();
    }
    catch (const Poco::Exception& e)
    {
        utilLogger().error("runProgram " + program + ": waiting for it failed: " + e.displayText());
    }
    return result;
}

std::string getMode()
{
    return trimmedOutput("pemo-getmode");
}

bool setMode(const std::string& mode)
{
    Poco::Logger& logger = Poco::Logger::get("Mode");
    const ProgramResult result = runProgram("pemo-setmode", {mode}, ProgramOutput::INHERIT);
    if (result.succeeded())
    {
        logger.information("Mode changed to " + mode);
        return true;
    }
    logger.information("Failed to change mode to " + mode + ": " + "return code " +
                       Poco::NumberFormatter::format(result.exitCode));
    return false;
}

std::string version()
{
    return trimmedOutput("pemo-version");
}

} // namespace system
} // namespace pemo
