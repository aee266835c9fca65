#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace pemo {
namespace system {

/// A child process of the daemon, and its exit. Every program the daemon
/// starts (services, skills, the helpers of runProgram) goes through
/// launch(), which closes every inherited descriptor above the standard
/// streams in one call, however high the open-file limit is.
///
/// Not thread-safe: the owner serialises wait() and signal().
class ChildProcess
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

    /// A descriptor that the child keeps the daemon's own stream for.
    static constexpr int INHERIT = -1;

    struct Command
    {
        /// A path, or a name looked up on the daemon's PATH. It is also the
        /// child's argv[0].
        std::string executable;
        std::vector<std::string> arguments;
        /// Empty: the daemon's own.
        std::string workingDirectory;
        /// Added to the daemon's own environment, replacing variables of the
        /// same name.
        std::map<std::string, std::string> environment;
        /// None: the daemon's own user and groups.
        std::optional<Identity> identity;
        /// What becomes the child's standard input, output and error;
        /// INHERIT keeps the daemon's. One descriptor may serve several.
        int input = INHERIT;
        int output = INHERIT;
        int error = INHERIT;
    };

    /// Starts command. The child drops to the identity (when one is given),
    /// then changes to the working directory, then executes, with every
    /// signal unblocked and the usual ones at their default action, and
    /// with no descriptor of the daemon's but its three streams. Throws
    /// Poco::SystemException when the child cannot be created or any of
    /// those steps fails in it (the text names the step and the error); a
    /// failed child is reaped before that. The caller closes its copies of
    /// the descriptors it handed over.
    static std::shared_ptr<ChildProcess> launch(const Command& command);

    ~ChildProcess();

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

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
    explicit ChildProcess(pid_t pid);

    pid_t _pid;
    bool _reaped;
    int _exitCode;
};

} // namespace system
} // namespace pemo
