#include "FrameworkTestSupport.h"

#include <pemo/StartupEvent.h>

#include <Poco/Net/ServerSocket.h>
#include <Poco/Process.h>
#include <Poco/Timestamp.h>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>

#include <chrono>
#include <thread>

namespace {

/// A host process running the service registry on a free port; the
/// registry is harmless to run on any machine. The test supervises it as the
/// system manager would, through its start-up event.
class HostProcess
{
public:
    HostProcess()
    {
        Poco::Net::ServerSocket probe(0);
        port = probe.address().port();
        probe.close();
        std::vector<std::string> args{"--module=" PEMO_REGISTRY_MODULE, "--class=ServiceRegistry",
                                      "--port=" + std::to_string(port)};
        const Poco::Timestamp launched;
        _handle = std::make_unique<Poco::ProcessHandle>(Poco::Process::launch(PEMO_SERVICE_HOST, args));
        _startup = std::make_unique<pemo::StartupEvent>(pid(), launched);
    }

    ~HostProcess()
    {
        if (_status < 0)
            ::kill(pid(), SIGKILL), waitStatus();
    }

    int pid() const { return _handle->id(); }

    /// Signalled its start-up, and serves by then.
    bool started()
    {
        return _startup->wait(5000) && pemo::test::request(port, "GET", "/registry").status == 200;
    }

    int waitStatus()
    {
        int status = 0;
        if (::waitpid(pid(), &status, 0) == pid())
            _status = status;
        return _status;
    }

    unsigned port = 0;

private:
    std::unique_ptr<Poco::ProcessHandle> _handle;
    std::unique_ptr<pemo::StartupEvent> _startup;
    int _status = -1;
};

} // namespace

// A clean stop on SIGTERM is pinned by the simulator's lifecycle test, with
// both of the device's daemons.

// A supervisor that repeats its signal while the service is stopping used
// to kill the host half way (exit by SIGTERM), leaving its children behind.
TEST(HostTest, SecondSignalDuringShutdownDoesNotKillTheHost)
{
    HostProcess host;
    ASSERT_TRUE(host.started());
    ::kill(host.pid(), SIGINT);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ::kill(host.pid(), SIGINT);
    const int status = host.waitStatus();
    ASSERT_TRUE(WIFEXITED(status)) << "killed by signal " << (WIFSIGNALED(status) ? WTERMSIG(status) : 0);
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(HostTest, MissingModuleOptionsFailWithoutServing)
{
    const auto handle = Poco::Process::launch(PEMO_SERVICE_HOST, {"--class=ServiceRegistry"});
    EXPECT_NE(handle.wait(), 0);
}
