// Two costs of the update endpoint, printed as ratios (never asserted), on a
// simulated device with the default configuration's four subsystems:
//  - GET /update against running its version programs and its four get
//    programs directly in sequence (posix_spawn, output read, waitpid): the
//    manager's own overhead over the programs it must run;
//  - a request refused while a download holds the manager, at p99, against
//    the 200 ms that the manager waits for its lock.
// The bench starts the device, then runs itself inside it ("--inside"), so
// that both sides see the same programs, files and loopback.
//
// Usage: pemo-update-bench [rounds]   (default 30; needs root)
#include "BenchStats.h"
#include "Http.h"
#include "SimDevice.h"

#include <Poco/File.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <future>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

using pemo::bench::millisecondsSince;
using pemo::bench::percentile;

using Clock = std::chrono::steady_clock;
using pemo::test::ApiClient;

const std::string CREDENTIALS = "/var/pemo/credentials.json";


// Runs argv with its standard output on a pipe read to the end, as the
// update manager needs it.
void spawnAndRead(const std::vector<std::string>& argv)
{
    int fds[2];
    if (::pipe(fds) != 0)
        return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    std::vector<char*> args;
    for (const auto& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    pid_t pid = -1;
    ::posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    char buffer[8192];
    while (::read(fds[0], buffer, sizeof(buffer)) > 0)
    {
    }
    ::close(fds[0]);
    int status = 0;
    if (pid > 0)
        ::waitpid(pid, &status, 0);
}

void directGet()
{
    spawnAndRead({"/usr/bin/pemo-version"});
    spawnAndRead({"/usr/local/bin/pemo-service-version"});
    std::ifstream skill("/opt/pemo/Pemo/Skills/hello/package.json");
    std::string text((std::istreambuf_iterator<char>(skill)), std::istreambuf_iterator<char>());
    const std::vector<std::pair<std::string, std::string>> subsystems{
        {"bootloader", "0.1.0"}, {"hello", "1.0.0"}, {"os", "1.0.0"}, {"services", "1.0.0"}};
    for (const auto& [name, version] : subsystems)
        spawnAndRead({"/usr/bin/pemo-get-update", "--credentials", CREDENTIALS, "--subsystem", name, "--version",
                      version, "--filter", ""});
}

int inside(const std::string& token, int rounds)
{
    const ApiClient api(8080, token);
    std::vector<double> viaDaemon;
    std::vector<double> direct;
    api.get("/update");
    directGet();
    for (int i = 0; i < rounds; ++i)
    {
        auto start = Clock::now();
        api.get("/update");
        viaDaemon.push_back(millisecondsSince(start));
        start = Clock::now();
        directGet();
        direct.push_back(millisecondsSince(start));
    }
    const double daemon = percentile(viaDaemon, 0.5);
    const double programs = percentile(direct, 0.5);
    std::printf("GET /update, 4 subsystems, median of %d: %.1f ms; its programs run directly: %.1f ms\n", rounds,
                daemon, programs);
    std::printf("  ratio %.2f (target <= 1.3)\n", daemon / programs);

    const std::string hold = "/run/pemo-sim/platform/download-hold";
    std::ofstream(hold).close();
    auto download = std::async(std::launch::async, [&] { return api.put("/update", R"({"ids":["hello-1.1.0"]})"); });
    while (!Poco::File("/run/pemo-sim/calls/pemo-download-update.log").exists())
        ::usleep(10000);
    std::vector<double> refused;
    for (int i = 0; i < 100; ++i)
    {
        const auto start = Clock::now();
        api.get("/update");
        refused.push_back(millisecondsSince(start));
    }
    Poco::File(hold).remove();
    download.get();
    const double p99 = percentile(refused, 0.99);
    std::printf("refused while a download runs, 100 requests: p50 %.1f ms, p99 %.1f ms\n", percentile(refused, 0.5), p99);
    std::printf("  ratio to the 200 ms lock wait %.2f (target <= 1.5)\n", p99 / 200.0);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 2 && std::string(argv[1]) == "--inside")
        return inside(argv[2], argc > 3 ? std::atoi(argv[3]) : 30);
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 30;
    pemo::test::SimOptions options;
    options.config = [](Poco::JSON::Object& root) {
        root.getObject("SystemManager")->getObject("service")->set("services", Poco::JSON::Array());
    };
    pemo::test::SimDevice device(options);
    device.start();
    device.writeStateFile("device" + CREDENTIALS, R"({"accessKeyId":"a","secretAccessKey":"s","region":"r"})");
    const auto result = device.exec(
        {"/run/pemo-sim-build/bin/pemo-update-bench", "--inside", device.token(), std::to_string(rounds)});
    std::fputs(result.output.c_str(), stdout);
    device.stop();
    return result.status;
}
