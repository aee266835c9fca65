#include "FrameworkTestSupport.h"

#include <pemo/StartupEvent.h>

#include <Poco/Net/ServerSocket.h>
#include <Poco/Process.h>
#include <Poco/Timestamp.h>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace {

/// A host process running the service registry on a free port; the
/// registry is harmless to run on any machine. The test supervises it as the
/// system manager would, through its start-up event.
class HostProcess
{
public:
    explicit HostProcess(const Poco::Process::Env& env = {})
    {
        Poco::Net::ServerSocket probe(0);
        port = probe.address().port();
        probe.close();
        std::vector<std::string> args{"--module=" PEMO_REGISTRY_MODULE, "--class=ServiceRegistry",
                                      "--port=" + std::to_string(port)};
        const Poco::Timestamp launched;
        _handle = std::make_unique<Poco::ProcessHandle>(Poco::Process::launch(PEMO_SERVICE_HOST, args, "", nullptr, nullptr, nullptr, env));
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

/// systemd's end of sd_notify: the datagram socket a unit's NOTIFY_SOCKET
/// names.
class NotifySocket
{
public:
    NotifySocket()
    {
        char name[] = "/tmp/pemo-notify-XXXXXX";
        _directory = ::mkdtemp(name);
        path = _directory + "/notify";
        _fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        ::bind(_fd, reinterpret_cast<sockaddr*>(&address), sizeof(address));
    }

    ~NotifySocket()
    {
        ::close(_fd);
        ::unlink(path.c_str());
        ::rmdir(_directory.c_str());
    }

    /// The next message, or "" when none came within limit.
    std::string receive(std::chrono::milliseconds limit = std::chrono::seconds(5))
    {
        timeval timeout{static_cast<time_t>(limit.count() / 1000), static_cast<suseconds_t>(limit.count() % 1000 * 1000)};
        ::setsockopt(_fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
        char buffer[256];
        const auto size = ::recv(_fd, buffer, sizeof(buffer), 0);
        return size > 0 ? std::string(buffer, static_cast<std::size_t>(size)) : std::string();
    }

    std::string path;

private:
    std::string _directory;
    int _fd = -1;
};

} // namespace

// Under a notify unit with a watchdog: ready once it serves, a ping every
// half timeout (the registry's self-check passes), stopping when told to
// stop, and nothing after.
TEST(HostTest, TellsSystemdItIsReadyAliveAndStopping)
{
    NotifySocket systemd;
    HostProcess host({{"NOTIFY_SOCKET", systemd.path}, {"WATCHDOG_USEC", "400000"}});
    ASSERT_TRUE(host.started());
    EXPECT_EQ(systemd.receive(), "READY=1");
    EXPECT_EQ(systemd.receive(), "WATCHDOG=1");
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(systemd.receive(), "WATCHDOG=1");
    EXPECT_GT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(100));
    ::kill(host.pid(), SIGTERM);
    std::string message;
    do
        message = systemd.receive();
    while (message == "WATCHDOG=1");
    EXPECT_EQ(message, "STOPPING=1");
    const int status = host.waitStatus();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(systemd.receive(std::chrono::milliseconds(100)), "");
}

// A service that the system manager launches inherits its unit's variables;
// its messages would be refused by systemd and logged, each of them.
TEST(HostTest, ServiceLaunchedUnderAnotherUnitProcessTellsSystemdNothing)
{
    NotifySocket systemd;
    HostProcess host({{"NOTIFY_SOCKET", systemd.path}, {"WATCHDOG_USEC", "400000"}, {"WATCHDOG_PID", "1"},
                      {"SYSTEMD_EXEC_PID", "1"}});
    ASSERT_TRUE(host.started());
    EXPECT_EQ(systemd.receive(std::chrono::milliseconds(600)), "");
}

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
