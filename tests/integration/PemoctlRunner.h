#pragma once

#include <Poco/Pipe.h>
#include <Poco/Process.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace pemo::test {

struct PemoctlResult
{
    int code = -1;
    std::string out;
    std::string err;
};

// Runs the built pemoctl against 127.0.0.1:port (no token unless the
// arguments give one: the token files of this machine are out of reach,
// HOME points nowhere), with input on its standard input, and waits for it.
PemoctlResult pemoctl(std::uint16_t port, const std::vector<std::string>& args, const std::string& input = "");

// A pemoctl left running (a --follow), its standard output collected as it
// comes; killed when destroyed.
class RunningPemoctl
{
public:
    RunningPemoctl(std::uint16_t port, const std::vector<std::string>& args);
    ~RunningPemoctl();

    // The output so far.
    std::string output() const;
    // Whether the output holds text within limit.
    bool waitFor(const std::string& text, std::chrono::milliseconds limit) const;

private:
    Poco::Pipe _out;
    std::unique_ptr<Poco::ProcessHandle> _process;
    mutable std::mutex _mutex;
    std::string _output;
    std::thread _reader;
};

} // namespace pemo::test
