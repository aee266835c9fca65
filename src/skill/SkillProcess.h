#pragma once

#include <Poco/Pipe.h>

#include <map>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace pemo {
namespace system {

/// A child process started under a given user and group, and its exit.
///
/// Not thread-safe: the owner serialises wait() and signal().
class SkillProcess
{
public:
    /// Who the child runs as.
    struct Identity
    {
        uid_t uid = 0;
        gid_t gid = 0;
        /// The complete supplementary group list; empty clears it.
        std::vector<gid_t> groups;
    };

    struct Command
    {
        /// A path, or a name looked up on the daemon's PATH.
        std::string executable;
        std::vector<std::string> arguments;
        std::string workingDirectory;
        /// Added to the daemon's own environment, replacing variables of the
        /// same name.
        std::map<std::string, std::string> environment;
        Identity identity;
    };

    /// Starts command with standard input reading in and standard output
    /// and error writing out. The child drops to the identity, then changes
    /// to the working directory, then executes, with every signal unblocked
    /// and the usual ones at their default action. Throws
    /// Poco::SystemException when the child cannot be created or any of
    /// those steps fails in it (the text names the step and the error); the
    /// failed child is reaped before that. The caller closes its copies of
    /// the child's pipe ends.
    static std::shared_ptr<SkillProcess> launch(const Command& command, const Poco::Pipe& in,
                                                const Poco::Pipe& out);

    ~SkillProcess();

    SkillProcess(const SkillProcess&) = delete;
    SkillProcess& operator=(const SkillProcess&) = delete;

    pid_t pid() const;
    /// True once wait() has collected the exit status.
    bool reaped() const;

    /// Blocks until the child ends and returns its exit code: the exit
    /// status, or 256 + the signal number for a child ended by a signal.
    /// Once reaped, returns the same code again. Throws
    /// Poco::SystemException when waiting fails.
    int wait();

    /// Sends signal to the child. Throws Poco::SystemException when it
    /// cannot be sent, or ESRCH once the child has been reaped (its pid may
    /// belong to another process by then).
    void signal(int signal);

private:
    explicit SkillProcess(pid_t pid);

    pid_t _pid;
    bool _reaped;
    int _exitCode;
};

} // namespace system
} // namespace pemo
