#include "ScratchDir.h"

#include "common/ChildProcess.h"

#include <Poco/Exception.h>
#include <Poco/Pipe.h>

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <unistd.h>
#include <vector>

using pemo::system::ChildProcess;
using pemo::system::test::ScratchDir;

namespace {

// Every test runs twice: with an identity (the child is forked and changes
// user) and without (it is spawned). The identity is this process's own:
// these tests check the launch mechanics, never a change of user.
class ChildProcessTest : public ::testing::TestWithParam<bool>
{
protected:
    ChildProcess::Command shell(const std::string& script, const std::string& directory) const
    {
        ChildProcess::Command command;
        command.executable = "sh";
        command.arguments = {"-c", script, "argv0", "one", ""};
        command.workingDirectory = directory;
        if (!GetParam())
            return command;
        ChildProcess::Identity identity;
        identity.uid = getuid();
        identity.gid = getgid();
        const int count = getgroups(0, nullptr);
        identity.groups.resize(static_cast<std::size_t>(count));
        getgroups(count, identity.groups.data());
        command.identity = identity;
        return command;
    }

    ScratchDir dir;
};

std::shared_ptr<ChildProcess> launch(ChildProcess::Command command, Poco::Pipe& in, Poco::Pipe& out)
{
    command.input = in.readHandle();
    command.output = out.writeHandle();
    command.error = out.writeHandle();
    return ChildProcess::launch(command);
}

struct RunResult
{
    int code = -1;
    std::string output;
};

RunResult run(const ChildProcess::Command& command)
{
    Poco::Pipe in;
    Poco::Pipe out;
    auto process = launch(command, in, out);
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

TEST_P(ChildProcessTest, RunsInItsDirectoryWithArgumentsEnvironmentAndBothStreams)
{
    ChildProcess::Command command = shell(
        R"(pwd; echo "$# [$1] [$2]"; echo "$PEMO_TEST $HOME"; test -n "$PATH" && echo path; echo err >&2; exit 7)",
        dir.path());
    command.environment = {{"PEMO_TEST", "set"}, {"HOME", "/nowhere"}};

    const RunResult result = run(command);
    EXPECT_EQ(7, result.code);
    EXPECT_EQ(dir.path() + "\n2 [one] []\nset /nowhere\npath\nerr\n", result.output);
}

TEST_P(ChildProcessTest, LeaksNoDescriptorsAndUnblocksTermination)
{
    // Descriptors of this process that the child must not see, one far
    // above the usual numbers.
    Poco::Pipe unrelated;
    const int high = dup2(unrelated.readHandle(), 1000);
    ASSERT_EQ(1000, high);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigset_t saved;
    pthread_sigmask(SIG_BLOCK, &blocked, &saved);

    Poco::Pipe in;
    Poco::Pipe out;
    auto process = launch(
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
    close(high);
    EXPECT_EQ("0\n1\n2\n3\n", dir.read("fds"));
}

TEST_P(ChildProcessTest, FailuresBeforeExecAreReportedWithTheirStep)
{
    const auto failure = [&](const ChildProcess::Command& command) {
        Poco::Pipe in;
        Poco::Pipe out;
        try
        {
            launch(command, in, out);
        }
        catch (const Poco::SystemException& e)
        {
            return e.message();
        }
        return std::string("launched");
    };
    const std::string chdir = failure(shell("exit 0", dir.file("missing-directory")));
    EXPECT_NE(std::string::npos, chdir.find("No such file")) << chdir;
    ChildProcess::Command command = shell("exit 0", dir.path());
    command.executable = dir.file("no-such-runtime");
    const std::string exec = failure(command);
    EXPECT_NE(std::string::npos, exec.find(dir.file("no-such-runtime"))) << exec;
    EXPECT_NE(std::string::npos, exec.find("No such file")) << exec;
    // Only a forked child can tell which of its steps failed.
    if (GetParam())
    {
        EXPECT_NE(std::string::npos, chdir.find("chdir")) << chdir;
        EXPECT_NE(std::string::npos, exec.find("exec " + dir.file("no-such-runtime"))) << exec;
    }
}

INSTANTIATE_TEST_SUITE_P(ForkedAndSpawned, ChildProcessTest, ::testing::Bool());
