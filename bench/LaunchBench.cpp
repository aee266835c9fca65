// Launching a program and reading its output through the daemon's runner,
// printed as a ratio against posix_spawn + waitpid of the same program in
// the same run (never asserted), at this process's open-file limit and with
// the soft limit raised to 1,048,576. Poco::Process::launch, which closes
// every descriptor number up to the limit in the child, is printed beside.
#include "common/SystemUtil.h"

#include <Poco/Pipe.h>
#include <Poco/Process.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <chrono>
#include <cstdio>
#include <functional>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
const char* const PROGRAM = "/bin/true";

// Median of runs, in milliseconds, after a few unmeasured warm-up runs.
double medianMs(int runs, const std::function<void()>& launch)
{
    for (int i = 0; i < 3; ++i)
        launch();
    std::vector<double> times;
    for (int i = 0; i < runs; ++i)
    {
        const auto start = Clock::now();
        launch();
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void readToEnd(int fd)
{
    char buffer[8192];
    while (read(fd, buffer, sizeof buffer) > 0)
    {
    }
}

void spawnAndWait()
{
    int out[2];
    if (pipe(out) != 0)
        return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    pid_t pid = 0;
    char* argv[] = {const_cast<char*>(PROGRAM), nullptr};
    const int error = posix_spawn(&pid, PROGRAM, &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    readToEnd(out[0]);
    close(out[0]);
    int status = 0;
    if (error == 0)
        waitpid(pid, &status, 0);
}

void runner()
{
    pemo::system::runProgram(PROGRAM, {});
}

void pocoLaunch()
{
    Poco::Pipe out;
    Poco::ProcessHandle handle = Poco::Process::launch(PROGRAM, {}, nullptr, &out, nullptr);
    out.close(Poco::Pipe::CLOSE_WRITE);
    char buffer[8192];
    while (out.readBytes(buffer, sizeof buffer) > 0)
    {
    }
    handle.wait();
}

void measure(const char* label, int pocoRuns)
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const double spawn = medianMs(300, spawnAndWait);
    const double run = medianMs(300, runner);
    const double poco = medianMs(pocoRuns, pocoLaunch);
    std::printf("%s (open-file limit %llu):\n", label, static_cast<unsigned long long>(limit.rlim_cur));
    std::printf("  posix_spawn + waitpid     %8.3f ms\n", spawn);
    std::printf("  runProgram                %8.3f ms   ratio %.2f (target at most 1.2)\n", run, run / spawn);
    std::printf("  Poco::Process::launch     %8.3f ms   ratio %.2f (the launcher before)\n", poco, poco / spawn);
}

} // namespace

int main()
{
    std::printf("Launching %s and reading its output, median of 300 launches\n", PROGRAM);
    measure("machine's limit", 100);
    rlimit raised{1048576, 1048576};
    rlimit current{};
    getrlimit(RLIMIT_NOFILE, &current);
    raised.rlim_max = std::max<rlim_t>(current.rlim_max, raised.rlim_max);
    if (setrlimit(RLIMIT_NOFILE, &raised) != 0)
    {
        // Raising the hard limit needs CAP_SYS_RESOURCE, which containers
        // often withhold even from root.
        std::printf("raised limit: cannot raise the open-file limit from %llu to 1048576 (%s); not measured here\n",
                    static_cast<unsigned long long>(current.rlim_max), std::strerror(errno));
        return 0;
    }
    measure("raised limit", 5);
    return 0;
}
