#include "ScratchDir.h"

#include "skill/SkillProcess.h"

#include <Poco/Exception.h>
#include <Poco/Pipe.h>

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <unistd.h>
#include <vector>

using pemo::system::SkillProcess;
using pemo::system::test::ScratchDir;

namespace {

// The child keeps this process's own identity: these tests check the
// launch mechanics, never a change of user.
SkillProcess::Command shell(const std::string& script, const std::string& directory)
{
    SkillProcess::Command command;
    command.executable = "sh";
    command.arguments = {"-c", script, "argv0", "one", ""};
    command.workingDirectory = directory;
    command.identity.uid = getuid();
    command.identity.gid = getgid();
    const int count = getgroups(0, nullptr);
    command.identity.groups.resize(static_cast<std::size_t>(count));
    getgroups(count, command.identity.groups.data());
    return command;
}

struct RunResult
{
    int code = -1;
    std::string output;
};

RunResult run(const SkillProcess::Command& command)
{
    Poco::Pipe in;
    Poco::Pipe out;
    auto process = SkillProcess::launch(command, in, out);
    in.close(Poco::Pipe::CLOSE_READ);
    out.close(Poco::Pipe::CLOSE_WRITE);
    RunResult result;
    char buffer[4096];
    int n = 0;
    while ((n = out.readBytes(buffer, sizeof buffer)) > 0)
        result.output.append(buffer, static_cast<std::size_t>(n));
    result.code = process->wait();
    EXPECT_TRUE(process->reaped());
    return result;
}

} // namespace

TEST(SkillProcessTest, RunsInItsDirectoryWithArgumentsEnvironmentAndBothStreams)
{
    ScratchDir dir;
    SkillProcess::Command command = shell(
        R"(pwd; echo "$# [$1] [$2]"; echo "$PEMO_TEST $HOME"; test -n "$PATH" && echo path; echo err >&2; exit 7)",
        dir.path());
    command.environment = {{"PEMO_TEST", "set"}, {"HOME", "/nowhere"}};

    const RunResult result = run(command);
    EXPECT_EQ(7, result.code);
    EXPECT_EQ(dir.path() + "\n2 [one] []\nset /nowhere\npath\nerr\n", result.output);
}

TEST(SkillProcessTest, LeaksNoDescriptorsAndUnblocksTermination)
{
    ScratchDir dir;
    // A descriptor of this process that the child must not see.
    Poco::Pipe unrelated;
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigset_t saved;
    pthread_sigmask(SIG_BLOCK, &blocked, &saved);

    Poco::Pipe in;
    Poco::Pipe out;
    auto process = SkillProcess::launch(
        shell("ls /proc/self/fd > " + dir.file("fds") + "; echo ready; exec sleep 30", dir.path()), in, out);
    pthread_sigmask(SIG_SETMASK, &saved, nullptr);
    out.close(Poco::Pipe::CLOSE_WRITE);
    char ready[6] = {};
    ASSERT_EQ(6, out.readBytes(ready, 6));

    process->signal(SIGTERM);
    EXPECT_EQ(256 + SIGTERM, process->wait());
    EXPECT_EQ(256 + SIGTERM, process->wait());
    EXPECT_THROW(process->signal(SIGTERM), Poco::SystemException);
    // 0, 1, 2 and the descriptor ls opened to list them.
    EXPECT_EQ("0\n1\n2\n3\n", dir.read("fds"));
}

TEST(SkillProcessTest, FailuresBeforeExecAreReportedWithTheirStep)
{
    ScratchDir dir;
    const auto failure = [&](const SkillProcess::Command& command) {
        Poco::Pipe in;
        Poco::Pipe out;
        try
        {
            SkillProcess::launch(command, in, out);
        }
        catch (const Poco::SystemException& e)
        {
            return e.message();
        }
        return std::string("launched");
    };
    EXPECT_NE(std::string::npos, failure(shell("exit 0", dir.file("missing-directory"))).find("chdir"));
    SkillProcess::Command command = shell("exit 0", dir.path());
    command.executable = dir.file("no-such-runtime");
    const std::string message = failure(command);
    EXPECT_NE(std::string::npos, message.find("exec " + dir.file("no-such-runtime"))) << message;
    EXPECT_NE(std::string::npos, message.find("No such file")) << message;
}
