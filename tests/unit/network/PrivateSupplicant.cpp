#include "PrivateSupplicant.h"

#include <Poco/File.h>
#include <Poco/Thread.h>

#include <csignal>
#include <fstream>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace pemo {
namespace system {
namespace test {

namespace {

std::string hostNetNamespace()
{
    char link[256] = {};
    const ssize_t n = ::readlink("/proc/self/ns/net", link, sizeof(link) - 1);
    return n > 0 ? std::string(link, static_cast<std::size_t>(n)) : std::string();
}

bool onPath(const std::string& program)
{
    for (const char* dir : {"/usr/sbin", "/sbin", "/usr/bin", "/bin"})
        if (::access((std::string(dir) + "/" + program).c_str(), X_OK) == 0)
            return true;
    return false;
}

} // namespace

PrivateSupplicant::PrivateSupplicant() : _runtime(_dir.file("run"))
{
    _dir.write("wpa.conf", "ctrl_interface=" + _runtime + "\nap_scan=0\nnetwork={\n\tkey_mgmt=NONE\n}\n");
}

PrivateSupplicant::~PrivateSupplicant()
{
    kill();
}

bool PrivateSupplicant::available()
{
    return ::geteuid() == 0 && onPath("unshare") && onPath("wpa_supplicant") && onPath("ip");
}

void PrivateSupplicant::start()
{
    // The guard refuses to touch links unless the namespace is a new one.
    const std::string script = "[ \"$(readlink /proc/self/ns/net)\" != '" + hostNetNamespace() +
                               "' ] || exit 97\n"
                               "ip link add wlan0 type veth peer name ap0 && ip link set wlan0 up && "
                               "ip link set ap0 up || exit 98\n"
                               "exec wpa_supplicant -D wired -i wlan0 -c '" +
                               _dir.file("wpa.conf") + "' >>'" + _dir.file("wpa.log") + "' 2>&1\n";
    const Poco::File socket(_runtime + "/wlan0");
    // A killed one's socket is left behind; waiting for it would be no wait.
    if (socket.exists())
        Poco::File(socket).remove();
    _process = std::make_unique<Poco::ProcessHandle>(
        Poco::Process::launch("unshare", std::vector<std::string>{"--net", "--", "sh", "-c", script}));
    for (int i = 0; i < 100 && !socket.exists(); ++i)
        Poco::Thread::sleep(50);
    if (!socket.exists())
        throw std::runtime_error("wpa_supplicant did not come up: " + _dir.read("wpa.log"));
}

void PrivateSupplicant::kill()
{
    if (!_process)
        return;
    ::kill(_process->id(), SIGCONT);
    ::kill(_process->id(), SIGKILL);
    _process->wait();
    _process.reset();
    // A killed one leaves its socket behind, as on the device.
}

void PrivateSupplicant::freeze(bool frozen)
{
    if (_process)
        ::kill(_process->id(), frozen ? SIGSTOP : SIGCONT);
}

} // namespace test
} // namespace system
} // namespace pemo
