#pragma once

#include <Poco/JSON/Object.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace pemo::test {

// Files placed over the device's file system: absolute path in the device
// (without the leading slash) to content; a script ("#!") is executable.
using Overlay = std::map<std::string, std::string>;

// How to start a simulated device; the defaults are those of the README.
struct SimOptions
{
    // Placed over the device's file system, later ones winning.
    std::vector<Overlay> overlays;
    // Changes to config/device.json for this device; none by default.
    std::function<void(Poco::JSON::Object&)> config;
    // Further command-line options for sim/pemo-sim.
    std::vector<std::string> extraArgs;
    // Keep the run's directory after stop() even when all went well.
    bool keepFiles = false;
};

struct ExecResult
{
    int status = -1;
    std::string output; // standard output and standard error together
};

// One sim/pemo-sim run: a private device with the registry and the system
// manager, its API bridged to a free port on 127.0.0.1. The simulator is
// tied to this process (it gets SIGTERM if the test process dies), and the
// run's directory is removed on a clean stop unless a test failed or
// PEMO_SIM_KEEP is set.
class SimDevice
{
public:
    explicit SimDevice(SimOptions options = {});
    ~SimDevice();
    SimDevice(const SimDevice&) = delete;
    SimDevice& operator=(const SimDevice&) = delete;

    // Starts the device and waits until its API answers; throws
    // std::runtime_error with the simulator's diagnostics otherwise.
    void start();
    // Stops the device (SIGTERM) and returns the simulator's exit status.
    int stop();
    // Waits for the simulator to end by itself; its exit status, or -1 if it
    // still runs after the timeout.
    int waitForExit(int seconds);
    bool running() const;
    // Removes the run's directory (state and simulator output).
    void removeFiles();

    std::uint16_t port() const { return _port; }
    const std::string& stateDir() const { return _stateDir; }
    // The first token of pemo.auth.tokens in the device's configuration.
    const std::string& token() const { return _token; }

    // A path inside the state directory.
    std::string statePath(const std::string& relative) const;
    std::string readStateFile(const std::string& relative) const;
    void writeStateFile(const std::string& relative, const std::string& content) const;

    // The recorded calls of a fake platform program, one argument list per
    // call, oldest first.
    std::vector<std::vector<std::string>> calls(const std::string& program) const;
    void clearCalls(const std::string& program) const;

    // Runs a command inside the device (sim/pemo-sim exec).
    ExecResult exec(const std::vector<std::string>& argv) const;
    // Runs one of the simulator's commands on this device: simulator("wifi",
    // {"stop"}) runs sim/pemo-sim wifi --state DIR stop.
    ExecResult simulator(const std::string& command, const std::vector<std::string>& args) const;

    // The last lines of the simulator's and the daemons' logs.
    std::string diagnostics() const;

private:
    bool tryStart(std::string& error);
    std::vector<std::string> prepareRun();

    SimOptions _options;
    std::string _runDir;
    std::string _stateDir;
    std::string _token;
    std::uint16_t _port = 0;
    pid_t _pid = -1;
    int _exitStatus = -1;
};

// A port on 127.0.0.1 that nothing listens on right now.
std::uint16_t freePort();

// Directories the tests were built from.
std::string sourceDir();
std::string buildDir();

} // namespace pemo::test
