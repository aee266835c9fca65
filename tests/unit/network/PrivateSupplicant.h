#pragma once

#include "ScratchDir.h"

#include <Poco/Process.h>

#include <memory>
#include <string>

namespace pemo {
namespace system {
namespace test {

/// A real wpa_supplicant on the wired driver, on one end ("wlan0") of a veth
/// pair inside a network namespace of its own: nothing it does reaches this
/// machine's interfaces, and the namespace ends with it. Its control socket
/// is runtime()/wlan0. Needs root (for the namespace); available() says
/// whether this machine can run it.
class PrivateSupplicant
{
public:
    PrivateSupplicant();
    ~PrivateSupplicant();

    static bool available();

    const std::string& runtime() const { return _runtime; }

    /// Starts it and waits (up to 5 s) for its control socket; throws
    /// std::runtime_error when it does not come up.
    void start();
    /// Kills it (SIGKILL) and waits for it.
    void kill();
    /// Freezes (SIGSTOP) or thaws (SIGCONT) it: a frozen one answers nothing.
    void freeze(bool frozen);

private:
    ScratchDir _dir;
    std::string _runtime;
    std::unique_ptr<Poco::ProcessHandle> _process;
};

} // namespace test
} // namespace system
} // namespace pemo
