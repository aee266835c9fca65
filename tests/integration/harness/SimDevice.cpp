#include "SimDevice.h"

#include <Poco/File.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Path.h>
#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>
#include <Poco/StreamCopier.h>
#include <Poco/Util/JSONConfiguration.h>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <iostream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace pemo::test {

std::string sourceDir() { return PEMO_SOURCE_DIR; }
std::string buildDir() { return PEMO_BUILD_DIR; }

// Another process may take the port before the simulator binds it; start()
// retries with a new one then.
std::uint16_t freePort()
{
    return Poco::Net::ServerSocket(Poco::Net::SocketAddress("127.0.0.1", 0)).address().port();
}

namespace {

using Clock = std::chrono::steady_clock;

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read " + path);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

std::string tail(const std::string& path, std::size_t lines)
{
    std::ifstream in(path);
    if (!in)
        return "";
    std::deque<std::string> last;
    std::string line;
    while (std::getline(in, line))
    {
        last.push_back(line);
        if (last.size() > lines)
            last.pop_front();
    }
    std::string result;
    for (const auto& l : last)
        result += "    " + l + "\n";
    return result;
}

// config/device.json with the device's changes, as the text the system manager reads.
std::string configText(const SimOptions& options)
{
    std::ifstream in(sourceDir() + "/config/device.json");
    auto config = Poco::JSON::Parser().parse(in).extract<Poco::JSON::Object::Ptr>();
    if (options.config)
        options.config(*config);
    std::ostringstream out;
    config->stringify(out, 2);
    return out.str();
}

void writeFile(const std::string& path, const std::string& content)
{
    Poco::File(Poco::Path(path).parent()).createDirectories();
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    if (!out)
        throw std::runtime_error("cannot write " + path);
}

// A sanitized daemon writes each report to log/sanitizer.PID (see the
// simulator's device-init); a report, leaks at exit included, fails the
// test that stopped the device.
void failOnSanitizerReports(const std::string& logDir)
{
    std::vector<std::string> names;
    Poco::File dir(logDir);
    if (dir.exists())
        dir.list(names);
    for (const auto& name : names)
    {
        if (name.rfind("sanitizer.", 0) != 0)
            continue;
        std::string report = readFile(logDir + "/" + name);
        if (report.size() > 16384)
            report = report.substr(0, 16384) + "\n[...]";
        ADD_FAILURE() << "a daemon of the device wrote a sanitizer report (" << name << "):\n" << report;
    }
}

} // namespace

SimDevice::SimDevice(SimOptions options) : _options(std::move(options))
{
    std::istringstream config(configText(_options));
    Poco::AutoPtr<Poco::Util::JSONConfiguration> parsed(new Poco::Util::JSONConfiguration(config));
    _token = parsed->getString("pemo.auth.tokens[0]", "");
}

SimDevice::~SimDevice()
{
    try
    {
        stop();
    }
    catch (...)
    {
    }
}

void SimDevice::start()
{
    if (running())
        return;
    if (::geteuid() != 0)
        throw std::runtime_error("the device simulator needs root");
    std::string error;
    for (int attempt = 0; attempt < 3; ++attempt)
    {
        if (tryStart(error))
            return;
        // Only a port taken between freePort() and the bridge's bind is worth another try.
        if (error.find("already in use") == std::string::npos && error.find("bridge on port") == std::string::npos)
            break;
    }
    throw std::runtime_error(error);
}

// A new run directory with the configuration and the overlays; the
// simulator's command line.
std::vector<std::string> SimDevice::prepareRun()
{
    removeFiles();
    char run[] = "/tmp/pemo-it.XXXXXX";
    if (!::mkdtemp(run))
        throw std::runtime_error(std::string("mkdtemp: ") + std::strerror(errno));
    _runDir = run;
    _stateDir = _runDir + "/state";
    _port = freePort();
    _exitStatus = -1;
    writeFile(_runDir + "/device.json", configText(_options));
    std::vector<std::string> args = {sourceDir() + "/sim/pemo-sim", "--build", buildDir(), "--state", _stateDir,
                                     "--port", std::to_string(_port), "--config", _runDir + "/device.json"};
    for (std::size_t i = 0; i < _options.overlays.size(); ++i)
    {
        const std::string dir = _runDir + "/overlay-" + std::to_string(i);
        Poco::File(dir).createDirectories();
        for (const auto& [path, content] : _options.overlays[i])
        {
            writeFile(dir + "/" + path, content);
            if (content.rfind("#!", 0) == 0)
                Poco::File(dir + "/" + path).setExecutable(true);
        }
        args.insert(args.end(), {"--overlay", dir});
    }
    args.insert(args.end(), _options.extraArgs.begin(), _options.extraArgs.end());
    return args;
}

bool SimDevice::tryStart(std::string& error)
{
    std::vector<std::string> args = prepareRun();
    std::vector<char*> argv;
    for (auto& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);

    const std::string outPath = _runDir + "/sim.out";
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid < 0)
        throw std::runtime_error("fork failed");
    if (pid == 0)
    {
        // The simulator must not outlive a crashed or killed test.
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent)
            ::_exit(127);
        int fd = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd >= 0)
        {
            ::dup2(fd, STDOUT_FILENO);
            ::dup2(fd, STDERR_FILENO);
            ::close(fd);
        }
        int devnull = ::open("/dev/null", O_RDONLY);
        if (devnull >= 0)
            ::dup2(devnull, STDIN_FILENO);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    _pid = pid;

    const auto deadline = Clock::now() + std::chrono::seconds(90);
    while (!Poco::File(_stateDir + "/ready").exists())
    {
        if (waitForExit(0) != -1)
        {
            error = "the simulator exited before the device was ready:\n" + diagnostics();
            return false;
        }
        if (Clock::now() > deadline)
        {
            error = "the device was not ready within 90 s:\n" + diagnostics();
            stop();
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
}

bool SimDevice::running() const { return _pid > 0; }

int SimDevice::waitForExit(int seconds)
{
    const auto deadline = Clock::now() + std::chrono::seconds(seconds);
    while (_pid > 0)
    {
        int status = 0;
        if (::waitpid(_pid, &status, WNOHANG) == _pid)
        {
            _pid = -1;
            _exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        else if (Clock::now() >= deadline)
            return -1;
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return _exitStatus;
}

int SimDevice::stop()
{
    if (_pid > 0)
    {
        ::kill(_pid, SIGTERM);
        if (waitForExit(45) == -1)
        {
            ::kill(_pid, SIGKILL);
            waitForExit(5);
        }
    }
    if (!_runDir.empty())
        failOnSanitizerReports(_stateDir + "/log");
    if (!_runDir.empty() && !_options.keepFiles)
    {
        if (std::getenv("PEMO_SIM_KEEP") != nullptr || ::testing::UnitTest::GetInstance()->Failed())
        {
            std::cerr << "[ sim      ] kept the device's files in " << _runDir << "\n";
            _runDir.clear();
        }
        else
        {
            removeFiles();
        }
    }
    return _exitStatus;
}

void SimDevice::removeFiles()
{
    if (_runDir.empty())
        return;
    try
    {
        Poco::File(_runDir).remove(true);
    }
    catch (const Poco::Exception&)
    {
    }
    _runDir.clear();
}

std::string SimDevice::statePath(const std::string& relative) const { return _stateDir + "/" + relative; }

std::string SimDevice::readStateFile(const std::string& relative) const { return readFile(statePath(relative)); }

void SimDevice::writeStateFile(const std::string& relative, const std::string& content) const
{
    writeFile(statePath(relative), content);
}

std::vector<std::vector<std::string>> SimDevice::calls(const std::string& program) const
{
    std::vector<std::vector<std::string>> result;
    std::ifstream in(statePath("calls/" + program + ".log"));
    std::string line;
    while (std::getline(in, line))
    {
        Poco::JSON::Parser parser;
        auto array = parser.parse(line).extract<Poco::JSON::Array::Ptr>();
        std::vector<std::string> args;
        for (std::size_t i = 0; i < array->size(); ++i)
            args.push_back(array->getElement<std::string>(i));
        result.push_back(std::move(args));
    }
    return result;
}

void SimDevice::clearCalls(const std::string& program) const
{
    const std::string path = statePath("calls/" + program + ".log");
    if (Poco::File(path).exists())
        std::ofstream(path, std::ios::trunc);
}

ExecResult SimDevice::exec(const std::vector<std::string>& argv) const
{
    std::vector<std::string> args{"--"};
    args.insert(args.end(), argv.begin(), argv.end());
    return simulator("exec", args);
}

ExecResult SimDevice::simulator(const std::string& command, const std::vector<std::string>& arguments) const
{
    std::vector<std::string> args = {command, "--state", _stateDir};
    args.insert(args.end(), arguments.begin(), arguments.end());
    Poco::Pipe out;
    Poco::ProcessHandle handle = Poco::Process::launch(sourceDir() + "/sim/pemo-sim", args, nullptr, &out, &out);
    Poco::PipeInputStream stream(out);
    ExecResult result;
    Poco::StreamCopier::copyToString(stream, result.output);
    result.status = handle.wait();
    return result;
}

std::string SimDevice::diagnostics() const
{
    std::string text;
    text += "  simulator output (" + _runDir + "/sim.out):\n" + tail(_runDir + "/sim.out", 20);
    for (const char* log : {"log/sim.log", "log/system-manager.out", "log/system-manager.log",
                            "log/service-registry.out", "log/service-registry.log"})
        text += std::string("  ") + log + ":\n" + tail(statePath(log), 15);
    return text;
}

} // namespace pemo::test
