#pragma once

#include "ScratchDir.h"

#include <Poco/File.h>
#include <Poco/Process.h>
#include <Poco/Thread.h>

#include <csignal>
#include <memory>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace pemo {
namespace system {
namespace test {

/// A real wpa_supplicant on the wired driver, on one end ("wlan0") of a veth
/// pair inside a network namespace of its own: nothing it does reaches this
/// machine's interfaces, and the namespace ends with it. Its control socket
/// is runtime()/wlan0. Needs root for the namespace: see available().
class PrivateSupplicant
{
public:
    PrivateSupplicant() : _runtime(_dir.file("run"))
    {
        _dir.write("wpa.conf", "ctrl_interface=" + _runtime + "\nap_scan=0\nnetwork={\n\tkey_mgmt=NONE\n}\n");
    }
    ~PrivateSupplicant() { kill(); }

    static bool available()
    {
        return ::geteuid() == 0 && ::access("/usr/bin/unshare", X_OK) == 0 &&
               ::access("/usr/sbin/wpa_supplicant", X_OK) == 0 && ::access("/usr/sbin/ip", X_OK) == 0;
    }

    const std::string& runtime() const { return _runtime; }

    /// Starts it and waits (up to 5 s) for its control socket; throws
    /// std::runtime_error when it does not come up.
    void start()
    {
        // The guard refuses to touch links unless the namespace is a new one.
        const std::string script = "[ \"$(readlink /proc/self/ns/net)\" != '" + hostNetNamespace() +
                                   "' ] || exit 97\n"
                                   "ip link add wlan0 type veth peer name ap0 && ip link set wlan0 up && "
                                   "ip link set ap0 up || exit 98\n"
                                   "exec wpa_supplicant -D wired -i wlan0 -c '" +
                                   _dir.file("wpa.conf") + "' >>'" + _dir.file("wpa.log") + "' 2>&1\n";
        Poco::File socket(_runtime + "/wlan0");
        // A killed one's socket is left behind; waiting for it would be no wait.
        if (socket.exists())
            socket.remove();
        _process = std::make_unique<Poco::ProcessHandle>(
            Poco::Process::launch("unshare", std::vector<std::string>{"--net", "--", "sh", "-c", script}));
        for (int i = 0; i < 100 && !socket.exists(); ++i)
            Poco::Thread::sleep(50);
        if (!socket.exists())
            throw std::runtime_error("wpa_supplicant did not come up: " + _dir.read("wpa.log"));
    }
    /// Kills it (SIGKILL by default; SIGTERM stops it cleanly) and waits
    /// for it; a killed one's socket stays, as on a device.
    void kill(int signal = SIGKILL)
    {
        if (!_process)
            return;
        ::kill(_process->id(), SIGCONT);
        ::kill(_process->id(), signal);
        _process->wait();
        _process.reset();
    }
    /// Freezes (SIGSTOP) or thaws (SIGCONT) it: a frozen one answers nothing.
    void freeze(bool frozen)
    {
        if (_process)
            ::kill(_process->id(), frozen ? SIGSTOP : SIGCONT);
    }

private:
    static std::string hostNetNamespace()
    {
        char link[256] = {};
        const ssize_t n = ::readlink("/proc/self/ns/net", link, sizeof(link) - 1);
        return n > 0 ? std::string(link, static_cast<std::size_t>(n)) : std::string();
    }

    ScratchDir _dir;
    std::string _runtime;
    std::unique_ptr<Poco::ProcessHandle> _process;
};

} // namespace test
} // namespace system
} // namespace pemo
