#include "PemoctlRunner.h"

#include "SimDevice.h"

#include <Poco/PipeStream.h>
#include <Poco/StreamCopier.h>

#include <csignal>

namespace pemo::test {

namespace {

Poco::ProcessHandle launch(std::uint16_t port, const std::vector<std::string>& args, Poco::Pipe* in, Poco::Pipe* out,
                           Poco::Pipe* err)
{
    Poco::Process::Args argv{"--port", std::to_string(port)};
    argv.insert(argv.end(), args.begin(), args.end());
    const Poco::Process::Env env{{"HOME", "/nonexistent"}, {"PEMO_TOKEN", ""}, {"PEMO_HOST", ""}, {"PEMO_PORT", ""},
                                 {"NO_COLOR", "1"}};
    return Poco::Process::launch(buildDir() + "/bin/pemoctl", argv, in, out, err, env);
}

} // namespace

PemoctlResult pemoctl(std::uint16_t port, const std::vector<std::string>& args, const std::string& input)
{
    Poco::Pipe in, out, err;
    Poco::ProcessHandle process = launch(port, args, &in, &out, &err);
    {
        Poco::PipeOutputStream stdinStream(in);
        stdinStream << input;
    }
    in.close();
    PemoctlResult result;
    std::thread errReader([&] {
        Poco::PipeInputStream stream(err);
        Poco::StreamCopier::copyToString(stream, result.err);
    });
    Poco::PipeInputStream stream(out);
    Poco::StreamCopier::copyToString(stream, result.out);
    errReader.join();
    result.code = process.wait();
    return result;
}

RunningPemoctl::RunningPemoctl(std::uint16_t port, const std::vector<std::string>& args)
    : _process(std::make_unique<Poco::ProcessHandle>(launch(port, args, nullptr, &_out, nullptr)))
{
    _reader = std::thread([this] {
        char buffer[4096];
        for (int n; (n = _out.readBytes(buffer, sizeof buffer)) > 0;)
        {
            std::lock_guard<std::mutex> lock(_mutex);
            _output.append(buffer, static_cast<std::size_t>(n));
        }
    });
}

RunningPemoctl::~RunningPemoctl()
{
    Poco::Process::kill(*_process);
    _process->wait();
    _reader.join();
}

std::string RunningPemoctl::output() const
{
    std::lock_guard<std::mutex> lock(_mutex);
    return _output;
}

bool RunningPemoctl::waitFor(const std::string& text, std::chrono::milliseconds limit) const
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (output().find(text) == std::string::npos)
    {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
}

} // namespace pemo::test
