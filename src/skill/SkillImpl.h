#pragma once

#include "skill/SkillManager.h"
#include "common/ChildProcess.h"

#include <pemo/util/PipeCleaner.h>

#include <Poco/Logger.h>
#include <Poco/Pipe.h>
#include <Poco/URI.h>

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace pemo {
namespace system {

/// One catalogued skill: what a scan found, and the process of its latest
/// run.
///
/// Not thread-safe: the skill manager's mutex guards every skill.
class SkillManager::SkillImpl
{
public:
    using Clock = std::chrono::steady_clock;

    struct Params
    {
        /// How the skill's runtime is started; the same for every skill.
        struct Launch
        {
            std::string executable;
            std::vector<std::string> arguments;
            std::map<std::string, std::string> environment;
        };

        std::string name;
        /// The skill's directory.
        std::string root;
        /// The entry file, relative to root.
        std::string main;
        std::string version;
        Launch launch;
    };

    explicit SkillImpl(const Params& params);
    ~SkillImpl();

    SkillImpl(const SkillImpl&) = delete;
    SkillImpl& operator=(const SkillImpl&) = delete;

    /// The process id of the latest run; -1 when never launched.
    int pid() const;
    const std::string& name() const;
    const std::string& root() const;
    const std::string& version() const;
    /// The session token of the latest run; empty when never launched.
    const std::string& session() const;
    /// The monotonic time of the latest launch; the clock's epoch when never
    /// launched.
    Clock::time_point lastStartTime() const;

    /// Launched and not yet reaped, even if the process has already ended.
    bool isRunning() const;

    /// Starts the runtime as the mode's user in the skill's directory, with
    /// token in PEMO_AUTHENTICATE and registry, the entry file and context
    /// as its last arguments; output goes to the skill's log. Replaces the
    /// previous run's state. Throws SkillManagerException "Failed to launch
    /// " + name + ": " + why, for instance when the mode's user is not in
    /// the password database ("Could not find launch user: " + user).
    void launch(const std::string& token, const std::string& context, const Poco::URI& registry,
                const SkillManager::Mode& mode);

    /// Blocks until the process ends and returns its exit code (256 + the
    /// signal for one killed by a signal); then stops draining its output.
    /// Throws SkillManagerException when never launched or when waiting
    /// fails.
    int wait();
    /// Sends SIGTERM. Throws SkillManagerException when never launched or
    /// the signal cannot be sent.
    void terminate();
    /// Sends SIGKILL. Throws as terminate().
    void kill();

    /// Takes a rescan's parameters; a running process is left alone.
    void updateParams(const Params& params);

private:
    ChildProcess& process() const;
    void start(ChildProcess::Command command);

    Params _params;
    Poco::Logger& _logger;
    std::string _session;
    std::shared_ptr<ChildProcess> _process;
    Clock::time_point _lastStartTime;
    // Made at launch only: a catalogue of many skills must not hold pipes.
    std::optional<Poco::Pipe> _pipeIn;
    std::optional<Poco::Pipe> _pipeOut;
    pemo::util::PipeCleaner _cleaner;
};

} // namespace system
} // namespace pemo
