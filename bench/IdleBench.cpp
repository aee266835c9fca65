// Idle wake-ups of the system manager over 30 s, counted as the voluntary
// and involuntary context switches of all its threads (from /proc), against
// a bare Poco HTTP server of the same settings idling in the same 30 s plus
// the wake-ups the system manager's own polling threads are meant to have:
// one a second for each of the service monitor, the skill monitor, the
// notifier's worker and the Wi-Fi event poller, one every two seconds for the power button's input
// reader. Printed, never asserted. The system manager runs as on the robot,
// in the simulated device (needs root, like the integration tests).
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/DirectoryIterator.h>
#include <Poco/File.h>
#include <Poco/Path.h>
#include <Poco/Process.h>
#include <Poco/TemporaryFile.h>
#include <Poco/ThreadPool.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

const int SECONDS = 30;
const int WORKERS = 8;

class NothingFactory : public Poco::Net::HTTPRequestHandlerFactory
{
public:
    Poco::Net::HTTPRequestHandler* createRequestHandler(const Poco::Net::HTTPServerRequest&) override
    {
        return nullptr;
    }
};

// The reference, in a child of its own so that its threads are counted apart.
[[noreturn]] void runBareServer()
{
    Poco::Net::ServerSocket listener(Poco::Net::SocketAddress("127.0.0.1", 0), 64);
    auto* params = new Poco::Net::HTTPServerParams;
    params->setMaxThreads(WORKERS);
    params->setKeepAlive(true);
    Poco::ThreadPool pool(2, WORKERS);
    Poco::Net::HTTPServer server(new NothingFactory, pool, listener, params);
    server.start();
    pause();
    _exit(0);
}

// The text of a /proc file; empty when the process or thread is gone
// (reading a vanished process's file fails with ESRCH, which libstdc++
// throws).
std::string readProc(const std::string& file)
{
    try
    {
        std::ifstream in(file);
        return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    }
    catch (const std::exception&)
    {
        return std::string();
    }
}

long field(const std::string& file, const std::string& name)
{
    std::istringstream in(readProc(file));
    std::string line;
    while (std::getline(in, line))
        if (line.compare(0, name.size(), name) == 0)
            return std::stol(line.substr(name.size() + 1));
    return 0;
}

// Context switches per thread, keyed by thread id, with the thread's name.
using Threads = std::map<std::string, std::pair<std::string, long>>;

Threads threads(int pid)
{
    Threads result;
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    for (Poco::DirectoryIterator it(tasks), end; it != end; ++it)
    {
        const std::string status = it->path() + "/status";
        std::istringstream comm(readProc(it->path() + "/comm"));
        std::string name;
        std::getline(comm, name);
        result[it.name()] = {name, field(status, "voluntary_ctxt_switches:") +
                                       field(status, "nonvoluntary_ctxt_switches:")};
    }
    return result;
}

long total(const Threads& before, const Threads& after)
{
    long sum = 0;
    for (const auto& [tid, thread] : after)
    {
        const auto it = before.find(tid);
        sum += thread.second - (it == before.end() ? 0 : it->second.second);
    }
    return sum;
}

// The system manager's busiest threads, with the system call each waits
// in, so a regression shows where.
void printBusiest(int pid, const Threads& before, const Threads& after)
{
    for (const auto& [tid, thread] : after)
    {
        const auto it = before.find(tid);
        const long count = thread.second - (it == before.end() ? 0 : it->second.second);
        if (count < SECONDS / 3)
            continue;
        std::istringstream in(readProc("/proc/" + std::to_string(pid) + "/task/" + tid + "/syscall"));
        std::string syscall;
        std::getline(in, syscall);
        std::printf("      thread %-8s %6ld  system call %s\n", tid.c_str(), count, syscall.substr(0, 60).c_str());
    }
}

int parentOf(int pid)
{
    const std::string stat = readProc("/proc/" + std::to_string(pid) + "/stat");
    if (stat.rfind(')') == std::string::npos)
        return 0;
    std::istringstream rest(stat.substr(stat.rfind(')') + 2));
    std::string state;
    int parent = 0;
    rest >> state >> parent;
    return parent;
}

bool descendsFrom(int pid, int ancestor)
{
    for (int at = pid; at > 1; at = parentOf(at))
        if (at == ancestor)
            return true;
    return false;
}

// The system manager's host process below the simulator started here.
int findSystemManager(int simulator)
{
    for (Poco::DirectoryIterator it(std::string("/proc")), end; it != end; ++it)
    {
        const std::string name = it.name();
        if (name.find_first_not_of("0123456789") != std::string::npos)
            continue;
        const std::string cmdline = readProc(it->path() + "/cmdline");
        if (cmdline.find("--class=SystemManager") != std::string::npos && descendsFrom(std::stoi(name), simulator))
            return std::stoi(name);
    }
    return 0;
}

std::string sourceDir()
{
    return PEMO_SOURCE_DIR;
}

} // namespace

int main()
{
    const pid_t bare = fork();
    if (bare == 0)
        runBareServer();

    const std::string state = Poco::TemporaryFile::tempName();
    Poco::Net::ServerSocket probe(Poco::Net::SocketAddress("127.0.0.1", 0));
    const std::string port = std::to_string(probe.address().port());
    probe.close();
    Poco::Process::Args args{"--build", PEMO_BUILD_DIR, "--port", port, "--config", sourceDir() + "/config/device.json",
                             "--state", state};
    Poco::ProcessHandle simulator = Poco::Process::launch(sourceDir() + "/sim/pemo-sim", args);
    int manager = 0;
    for (int i = 0; i < 600 && (!Poco::File(state + "/ready").exists() || !manager); ++i)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        manager = findSystemManager(simulator.id());
    }
    if (!manager)
    {
        std::printf("the simulated device did not come up (state in %s)\n", state.c_str());
        kill(bare, SIGKILL);
        return 1;
    }
    // Let start-up settle: the demo services launch and register.
    std::this_thread::sleep_for(std::chrono::seconds(5));
    const Threads managerBefore = threads(manager);
    const Threads bareBefore = threads(bare);
    std::this_thread::sleep_for(std::chrono::seconds(SECONDS));
    const Threads managerAfter = threads(manager);
    const long managerWakeUps = total(managerBefore, managerAfter);
    const long bareWakeUps = total(bareBefore, threads(bare));
    std::printf("System manager threads that woke at least once every three seconds:\n");
    printBusiest(manager, managerBefore, managerAfter);
    const long pss = field("/proc/" + std::to_string(manager) + "/smaps_rollup", "Pss:");

    Poco::Process::launch(sourceDir() + "/sim/pemo-sim", {"stop", "--state", state}).wait();
    simulator.wait();
    kill(bare, SIGKILL);
    waitpid(bare, nullptr, 0);
    Poco::File(state).remove(true);

    const long polling = 4 * SECONDS;
    const long reader = SECONDS / 2;
    const long allowance = bareWakeUps + polling + reader;
    std::printf("Idle wake-ups over %d s (context switches of all threads)\n", SECONDS);
    std::printf("  bare Poco HTTP server (%d workers)       %6ld\n", WORKERS, bareWakeUps);
    std::printf("  + service monitor, skill monitor, notifier worker, Wi-Fi poller at 1/s  %6ld\n", polling);
    std::printf("  + input reader at 1/2 s                   %6ld\n", reader);
    std::printf("  = allowance                                %6ld\n", allowance);
    std::printf("  system manager                             %6ld   ratio %.2f (target at most 1.2)\n",
                managerWakeUps, static_cast<double>(managerWakeUps) / static_cast<double>(allowance));
    // The figures of the server that gave each connection a worker, measured
    // on this machine before it was replaced, for comparison.
    std::printf("System manager at idle: %zu threads, PSS %.1f MB (a worker per connection: 24 threads, 7.6 MB;\n"
                "  target: PSS at most 7.6 MB, fewer threads)\n",
                managerAfter.size(), static_cast<double>(pss) / 1024.0);

    return 0;
}
