// pemoctl as a whole process against curl making the same request, on a
// simulated device: `pemoctl --json mode` and `curl -s` of GET /mode with
// the token, alternated so that both meet the same load, each timed from
// spawn to exit. Prints the medians and p90s and their ratio (the target is
// at most 1.5), never asserts.
//
// Usage: pemo-client-bench [rounds]   (default 200; needs root)
#include "BenchStats.h"
#include "SimDevice.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

using pemo::bench::median;
using pemo::bench::millisecondsSince;
using pemo::bench::percentile;

// Runs argv with its output in a file; the milliseconds until it exited,
// or a negative number when it failed.
double timedRun(const std::vector<std::string>& argv, const std::string& output)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::vector<char*> args;
    for (const auto& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = -1;
    const int spawned = ::posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (spawned != 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return -1;
    return millisecondsSince(start);
}

std::string slurp(const std::string& path)
{
    std::string text;
    if (FILE* f = std::fopen(path.c_str(), "r"))
    {
        char buffer[4096];
        for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, f)) > 0;)
            text.append(buffer, n);
        std::fclose(f);
    }
    return text;
}

} // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 200;
    pemo::test::SimDevice device;
    device.start();
    const std::string port = std::to_string(device.port());
    const std::vector<std::string> pemoctl{pemo::test::buildDir() + "/bin/pemoctl", "--port", port, "--token",
                                           device.token(), "--json", "mode"};
    const std::vector<std::string> curl{"curl", "-s", "-f", "-H", "Pemo-Authenticate: " + device.token(),
                                        "http://127.0.0.1:" + port + "/mode"};
    const std::string pemoctlOut = device.statePath("bench-pemoctl.out");
    const std::string curlOut = device.statePath("bench-curl.out");

    // Both print the same body: pemoctl adds only the line break that the
    // body lacks.
    if (timedRun(pemoctl, pemoctlOut) < 0 || timedRun(curl, curlOut) < 0 ||
        slurp(pemoctlOut) != slurp(curlOut) + "\n")
    {
        std::fprintf(stderr, "pemo-client-bench: pemoctl and curl do not print the same answer:\n%s\n%s\n",
                     slurp(pemoctlOut).c_str(), slurp(curlOut).c_str());
        return 1;
    }
    std::vector<double> pemoctlTimes, curlTimes;
    for (int i = 0; i < rounds; ++i)
    {
        const double a = timedRun(pemoctl, pemoctlOut);
        const double b = timedRun(curl, curlOut);
        if (a < 0 || b < 0)
        {
            std::fprintf(stderr, "pemo-client-bench: a run failed in round %d\n", i);
            return 1;
        }
        pemoctlTimes.push_back(a);
        curlTimes.push_back(b);
    }
    std::printf("GET /mode as a whole process, %d rounds each, alternated, on a simulated device:\n", rounds);
    std::printf("  pemoctl --json mode   median %.2f ms   p90 %.2f ms\n", median(pemoctlTimes),
                percentile(pemoctlTimes, 0.9));
    std::printf("  curl -s               median %.2f ms   p90 %.2f ms\n", median(curlTimes), percentile(curlTimes, 0.9));
    std::printf("  ratio pemoctl / curl  median %.2f   p90 %.2f   (target: at most 1.5)\n",
                median(pemoctlTimes) / median(curlTimes), percentile(pemoctlTimes, 0.9) / percentile(curlTimes, 0.9));
    return device.stop() == 0 ? 0 : 1;
}
