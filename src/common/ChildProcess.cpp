#include "common/ChildProcess.h"

#include <Poco/Environment.h>
#include <Poco/Exception.h>
#include <Poco/NumberFormatter.h>
#include <Poco/Path.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <grp.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace pemo {
namespace system {

namespace {

// What the child reports through the status pipe when a step before exec
// fails: which step, and errno.
enum ChildStep : int
{
    STEP_PIPES = 1,
    STEP_GROUPS,
    STEP_GID,
    STEP_UID,
    STEP_DIRECTORY,
    STEP_EXEC
};

struct ChildFailure
{
    int step;
    int error;
};

const char* stepName(int step)
{
    switch (step)
    {
    case STEP_PIPES: return "redirecting standard streams";
    case STEP_GROUPS: return "setgroups";
    case STEP_GID: return "setgid";
    case STEP_UID: return "setuid";
    case STEP_DIRECTORY: return "chdir";
    case STEP_EXEC: return "exec";
    }
    return "unknown step";
}

Poco::SystemException systemError(const std::string& what, int error)
{
    return Poco::SystemException(what + ": " + std::strerror(error));
}

// Owns the strings that the child's argv and envp point into; built before
// fork because the child of a threaded process may not allocate.
struct ExecImage
{
    std::string path;
    std::vector<std::string> strings;
    std::vector<char*> argv;
    std::vector<char*> envp;

    explicit ExecImage(const ChildProcess::Command& command)
    {
        path = resolve(command.executable);
        std::map<std::string, std::string> environment = inherited();
        for (const auto& entry : command.environment)
            environment[entry.first] = entry.second;

        strings.push_back(command.executable);
        strings.insert(strings.end(), command.arguments.begin(), command.arguments.end());
        const std::size_t argc = strings.size();
        for (const auto& entry : environment)
            strings.push_back(entry.first + "=" + entry.second);
        for (std::size_t i = 0; i < strings.size(); ++i)
            (i < argc ? argv : envp).push_back(&strings[i][0]);
        argv.push_back(nullptr);
        envp.push_back(nullptr);
    }

    static std::string resolve(const std::string& executable)
    {
        Poco::Path found;
        if (executable.find('/') == std::string::npos &&
            Poco::Path::find(Poco::Environment::get("PATH", ""), executable, found))
            return found.toString();
        return executable;
    }

    static std::map<std::string, std::string> inherited()
    {
        std::map<std::string, std::string> environment;
        for (char** variable = environ; variable && *variable; ++variable)
        {
            const std::string text(*variable);
            const std::size_t equals = text.find('=');
            if (equals != std::string::npos)
                environment[text.substr(0, equals)] = text.substr(equals + 1);
        }
        return environment;
    }
};

[[noreturn]] void failChild(int status, int step)
{
    const ChildFailure failure{step, errno};
    ssize_t ignored = write(status, &failure, sizeof failure);
    (void)ignored;
    _exit(127);
}

// Only the child's own streams and the status pipe survive into the
// program: the daemon's sockets and other children's pipes must not leak.
// closefrom is one close_range call, or a walk of /proc/self/fd where the
// kernel lacks it; closing every number up to the open-file limit would cost
// a million calls where the limit is that high. The status pipe moves to 3,
// still closed on exec.
void closeInheritedDescriptors(int& status)
{
    if (status != 3)
    {
        if (dup3(status, 3, O_CLOEXEC) < 0)
            failChild(status, STEP_PIPES);
        status = 3;
    }
    closefrom(4);
}

// Signal handling is inherited across fork and partly across exec: the
// daemon's threads block the termination signals, and a skill that kept
// them blocked could never be terminated.
void resetSignals()
{
    sigset_t all;
    sigemptyset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    for (int signal : {SIGPIPE, SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGCHLD})
        std::signal(signal, SIG_DFL);
}

bool redirectStreams(const ChildProcess::Command& command)
{
    const int streams[] = {command.input, command.output, command.error};
    for (int target = 0; target < 3; ++target)
        if (streams[target] != ChildProcess::INHERIT && dup2(streams[target], target) < 0)
            return false;
    return true;
}

// Runs in the child between fork and exec: async-signal-safe calls only.
[[noreturn]] void execChild(const ChildProcess::Command& command, const ExecImage& image, int status)
{
    resetSignals();
    if (!redirectStreams(command))
        failChild(status, STEP_PIPES);
    closeInheritedDescriptors(status);
    const ChildProcess::Identity& identity = *command.identity;
    if (setgroups(identity.groups.size(), identity.groups.data()) != 0)
        failChild(status, STEP_GROUPS);
    if (setgid(identity.gid) != 0)
        failChild(status, STEP_GID);
    if (setuid(identity.uid) != 0)
        failChild(status, STEP_UID);
    if (!command.workingDirectory.empty() && chdir(command.workingDirectory.c_str()) != 0)
        failChild(status, STEP_DIRECTORY);
    execve(image.path.c_str(), image.argv.data(), image.envp.data());
    failChild(status, STEP_EXEC);
}

// Reads what the child reported before exec; an empty read means exec
// succeeded and closed the pipe.
bool readFailure(int status, ChildFailure& failure)
{
    ssize_t n = 0;
    do
        n = read(status, &failure, sizeof failure);
    while (n < 0 && errno == EINTR);
    return n == static_cast<ssize_t>(sizeof failure);
}

// A change of user needs fork: the steps run in a child with its own copy
// of the daemon's memory. Every other child is spawned, which shares the
// memory until exec instead of copying the daemon's page tables.
pid_t forkChild(const ChildProcess::Command& command, const ExecImage& image)
{
    int status[2];
    if (pipe2(status, O_CLOEXEC) != 0)
        throw systemError("Cannot create status pipe", errno);

    const pid_t pid = fork();
    if (pid < 0)
    {
        const int error = errno;
        close(status[0]);
        close(status[1]);
        throw systemError("Cannot fork", error);
    }
    if (pid == 0)
        execChild(command, image, status[1]);

    close(status[1]);
    ChildFailure failure{0, 0};
    const bool failed = readFailure(status[0], failure);
    close(status[0]);
    if (failed)
    {
        int ignored = 0;
        while (waitpid(pid, &ignored, 0) < 0 && errno == EINTR)
            ;
        throw systemError(std::string(stepName(failure.step)) + " " + image.path, failure.error);
    }
    return pid;
}

// The same steps as execChild, as file actions and attributes of
// posix_spawn; the step that failed is not told apart, only the error.
pid_t spawnChild(const ChildProcess::Command& command, const ExecImage& image)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const int streams[] = {command.input, command.output, command.error};
    for (int target = 0; target < 3; ++target)
        if (streams[target] != ChildProcess::INHERIT)
            posix_spawn_file_actions_adddup2(&actions, streams[target], target);
    if (!command.workingDirectory.empty())
        posix_spawn_file_actions_addchdir_np(&actions, command.workingDirectory.c_str());
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    for (int signal : {SIGPIPE, SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGCHLD})
        sigaddset(&signals, signal);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    pid_t pid = 0;
    const int error = posix_spawn(&pid, image.path.c_str(), &actions, &attributes, image.argv.data(),
                                  image.envp.data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw systemError("spawn " + image.path, error);
    return pid;
}

} // namespace

std::shared_ptr<ChildProcess> ChildProcess::launch(const Command& command)
{
    const ExecImage image(command);
    const pid_t pid = command.identity ? forkChild(command, image) : spawnChild(command, image);
    return std::shared_ptr<ChildProcess>(new ChildProcess(pid));
}

ChildProcess::ChildProcess(pid_t pid) : _pid(pid), _reaped(false), _exitCode(-1)
{
}

ChildProcess::~ChildProcess() = default;

pid_t ChildProcess::pid() const
{
    return _pid;
}

bool ChildProcess::reaped() const
{
    return _reaped;
}

int ChildProcess::wait()
{
    if (_reaped)
        return _exitCode;
    int status = 0;
    pid_t rc = 0;
    do
        rc = waitpid(_pid, &status, 0);
    while (rc < 0 && errno == EINTR);
    if (rc != _pid)
        throw systemError("Cannot wait for process " + Poco::NumberFormatter::format(_pid), errno);
    _reaped = true;
    _exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
    return _exitCode;
}

void ChildProcess::signal(int signal)
{
    if (_reaped)
        throw systemError("Cannot signal process " + Poco::NumberFormatter::format(_pid), ESRCH);
    if (::kill(_pid, signal) != 0)
        throw systemError("Cannot signal process " + Poco::NumberFormatter::format(_pid), errno);
}

} // namespace system
} // namespace pemo
