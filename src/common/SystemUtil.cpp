#include "common/SystemUtil.h"

#include <Poco/Environment.h>
#include <Poco/Exception.h>
#include <Poco/File.h>
#include <Poco/Logger.h>
#include <Poco/NumberFormatter.h>
#include <Poco/Path.h>
#include <Poco/Pipe.h>
#include <Poco/Process.h>
#include <Poco/String.h>

#include <algorithm>
#include <memory>

namespace pemo {
namespace system {

namespace {

const std::size_t READ_BLOCK = 8192;

Poco::Logger& utilLogger()
{
    return Poco::Logger::get("SystemManager.SystemUtil");
}

// Poco launches through fork and exec, and a failed exec only shows as the
// child's exit status 72, which a real program may also return. Resolving
// the program first lets "could not start" be told apart from "failed".
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

Poco::ProcessHandle launch(const std::string& path, const std::vector<std::string>& args, ProgramOutput output,
                           Poco::Pipe& pipe, const Poco::Process::Env& env)
{
    switch (output)
    {
    case ProgramOutput::STDOUT:
        return Poco::Process::launch(path, args, nullptr, &pipe, nullptr, env);
    case ProgramOutput::STDOUT_STDERR:
        return Poco::Process::launch(path, args, nullptr, &pipe, &pipe, env);
    case ProgramOutput::INHERIT:
        break;
    }
    return Poco::Process::launch(path, args, nullptr, nullptr, nullptr, env);
}

std::string trimmedOutput(const std::string& program)
{
    const ProgramResult result = runProgram(program, {});
    if (!result.succeeded())
        return std::string();
    return Poco::trimRight(result.output);
}

} // namespace

ProgramResult runProgram(const std::string& program, const std::vector<std::string>& args, ProgramOutput output,
                         const std::map<std::string, std::string>& environment)
{
    ProgramResult result;
    std::string path;
    if (!resolveProgram(program, path))
    {
        utilLogger().error("runProgram cannot start " + program + ": not found or not executable");
        return result;
    }

    Poco::Pipe pipe;
    std::unique_ptr<Poco::ProcessHandle> handle;
    try
    {
        handle = std::make_unique<Poco::ProcessHandle>(launch(path, args, output, pipe, environment));
    }
    catch (const Poco::Exception& e)
    {
        utilLogger().error("runProgram cannot start " + program + ": " + e.displayText());
        return result;
    }
    result.started = true;
    if (output != ProgramOutput::INHERIT)
        result.output = readToEnd(pipe, program);
    try
    {
        result.exitCode = handle->wait();
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
