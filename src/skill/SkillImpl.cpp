#include "skill/SkillImpl.h"

#include "skill/SkillManagerException.h"

#include <Poco/Exception.h>
#include <Poco/Path.h>

#include <csignal>
#include <exception>
#include <grp.h>
#include <pwd.h>

namespace pemo {
namespace system {

namespace {

// The whole identity of a mode's user, as the password and group databases
// give it. The databases are scanned rather than queried by name so that
// the supplementary groups come out of the same pass over the group file.
ChildProcess::Identity findLaunchIdentity(const std::string& user, std::string& home)
{
    ChildProcess::Identity identity;
    bool found = false;
    setpwent();
    while (const passwd* entry = getpwent())
    {
        if (user == entry->pw_name)
        {
            identity.uid = entry->pw_uid;
            identity.gid = entry->pw_gid;
            home = entry->pw_dir;
            found = true;
            break;
        }
    }
    endpwent();
    if (!found)
        throw SkillManagerException("Could not find launch user: " + user);

    setgrent();
    while (const group* entry = getgrent())
    {
        for (char** member = entry->gr_mem; member && *member; ++member)
        {
            if (user == *member)
            {
                identity.groups.push_back(entry->gr_gid);
                break;
            }
        }
    }
    endgrent();
    return identity;
}

} // namespace

SkillManager::SkillImpl::SkillImpl(const Params& params)
    : _params(params), _logger(Poco::Logger::get("SystemManager.SkillManager.Skill")), _cleaner(_logger)
{
}

SkillManager::SkillImpl::~SkillImpl() = default;

int SkillManager::SkillImpl::pid() const
{
    return _process ? _process->pid() : -1;
}

const std::string& SkillManager::SkillImpl::name() const
{
    return _params.name;
}

const std::string& SkillManager::SkillImpl::root() const
{
    return _params.root;
}

const std::string& SkillManager::SkillImpl::version() const
{
    return _params.version;
}

const std::string& SkillManager::SkillImpl::session() const
{
    return _session;
}

SkillManager::SkillImpl::Clock::time_point SkillManager::SkillImpl::lastStartTime() const
{
    return _lastStartTime;
}

bool SkillManager::SkillImpl::isRunning() const
{
    return _process && !_process->reaped();
}

void SkillManager::SkillImpl::launch(const std::string& token, const std::string& context,
                                     const Poco::URI& registry, const SkillManager::Mode& mode)
{
    try
    {
        ChildProcess::Command command;
        command.executable = _params.launch.executable;
        command.environment = _params.launch.environment;
        command.environment["PEMO_AUTHENTICATE"] = token;
        command.arguments = _params.launch.arguments;
        command.arguments.push_back(registry.toString());
        command.arguments.push_back(Poco::Path(Poco::Path::forDirectory(_params.root), _params.main).toString());
        command.arguments.push_back(context);
        command.workingDirectory = _params.root;
        std::string home = "/root";
        command.identity = findLaunchIdentity(mode.user, home);
        command.environment["HOME"] = home;
        start(command);
        _session = token;
    }
    catch (const Poco::Exception& e)
    {
        _logger.error("SkillManager::launch Failed to launch " + name() + ": " + e.displayText());
        throw SkillManagerException("Failed to launch " + name() + ": " + e.displayText());
    }
    catch (const std::exception& e)
    {
        _logger.error("SkillManager::launch Failed to launch " + name() + ": " + e.what());
        throw SkillManagerException("Failed to launch " + name() + ": " + e.what());
    }
}

void SkillManager::SkillImpl::start(ChildProcess::Command command)
{
    _pipeIn.emplace();
    _pipeOut.emplace();
    command.input = _pipeIn->readHandle();
    command.output = _pipeOut->writeHandle();
    command.error = _pipeOut->writeHandle();
    try
    {
        _process = ChildProcess::launch(command);
    }
    catch (...)
    {
        _pipeIn.reset();
        _pipeOut.reset();
        throw;
    }
    // Only the child keeps these ends: the cleaner sees end of file once
    // the skill exits.
    _pipeIn->close(Poco::Pipe::CLOSE_READ);
    _pipeOut->close(Poco::Pipe::CLOSE_WRITE);
    _cleaner.start(*_pipeOut, name() + ": ");
    _lastStartTime = Clock::now();
}

ChildProcess& SkillManager::SkillImpl::process() const
{
    if (!_process)
        throw SkillManagerException(name() + " was never launched");
    return *_process;
}

int SkillManager::SkillImpl::wait()
{
    int code = 0;
    try
    {
        code = process().wait();
    }
    catch (const Poco::Exception& e)
    {
        throw SkillManagerException(e.displayText());
    }
    _cleaner.stop();
    return code;
}

void SkillManager::SkillImpl::terminate()
{
    try
    {
        process().signal(SIGTERM);
    }
    catch (const Poco::Exception& e)
    {
        throw SkillManagerException(e.displayText());
    }
}

void SkillManager::SkillImpl::kill()
{
    try
    {
        process().signal(SIGKILL);
    }
    catch (const Poco::Exception& e)
    {
        throw SkillManagerException(e.displayText());
    }
}

void SkillManager::SkillImpl::updateParams(const Params& params)
{
    _params = params;
}

} // namespace system
} // namespace pemo
