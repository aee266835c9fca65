#include "FuzzedSystem.h"

#include "app/SystemManager.h"

#include <Poco/AutoPtr.h>
#include <Poco/Logger.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Util/Application.h>
#include <Poco/Util/MapConfiguration.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace pemo::fuzz {

namespace {

[[noreturn]] void refuse(const std::string& what)
{
    std::fprintf(stderr, "fuzz target: %s: %s; it runs only as root, in namespaces of its own\n", what.c_str(),
                 std::strerror(errno));
    std::exit(1);
}

void mountTmpfs(const char* path)
{
    if (::mount("tmpfs", path, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") != 0)
        refuse(std::string("cannot mount a tmpfs on ") + path);
}

// The in-process exchange still needs the service's listening socket.
void loopbackUp()
{
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
    if (fd < 0 || ::ioctl(fd, SIOCGIFFLAGS, &request) != 0)
        refuse("cannot read the loopback interface");
    request.ifr_flags |= IFF_UP;
    if (::ioctl(fd, SIOCSIFFLAGS, &request) != 0)
        refuse("cannot bring the loopback interface up");
    ::close(fd);
}

// Programs run by absolute path become /bin/true; those looked up in PATH
// (pemo-getmode, pemo-setmode) are not on this machine and fail.
void confine()
{
    if (::unshare(CLONE_NEWNS | CLONE_NEWNET) != 0)
        refuse("cannot make private namespaces");
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        refuse("cannot make the mounts private");
    loopbackUp();
    for (const char* dir : {"/var", "/opt", "/usr/sbin", "/usr/local/bin"})
        mountTmpfs(dir);
    for (const char* program : {"poweroff", "reboot", "iptables", "ip6tables", "logrotate", "hwclock", "ntpdate",
                                "ifup", "ifdown", "udhcpc", "pemo-fuzz-udhcpc"})
    {
        if (::symlink("/bin/true", (std::string("/usr/sbin/") + program).c_str()) != 0)
            refuse(std::string("cannot replace ") + program);
    }
    for (const char* program : {"pemo-get-update", "pemo-download-update", "pemo-apply-update", "pemo-version",
                                "pemo-system-backup", "pemo-system-restore"})
    {
        const std::string path = std::string("/usr/bin/") + program;
        if (::access(path.c_str(), F_OK) == 0 && ::mount("/bin/true", path.c_str(), nullptr, MS_BIND, nullptr) != 0)
            refuse("cannot replace " + path);
    }
    // The Wi-Fi manager edits /etc/network/interfaces below its own root.
    for (const char* dir : {"/etc/network", "/usr/local/sbin"})
    {
        if (::access(dir, F_OK) == 0)
            mountTmpfs(dir);
    }
    for (const char* dir : {"/var/run", "/var/log", "/var/etc", "/var/pemo", "/var/augeas", "/var/augeas/etc",
                            "/var/augeas/etc/network", "/opt/tmp", "/opt/ota", "/opt/skills"})
        ::mkdir(dir, 0755);
    std::ofstream("/var/augeas/etc/network/interfaces") << "auto lo\niface lo inet loopback\n"
                                                           "iface wlan0 inet dhcp\n";
}

Poco::AutoPtr<Poco::Util::MapConfiguration> configuration()
{
    Poco::AutoPtr<Poco::Util::MapConfiguration> c(new Poco::Util::MapConfiguration);
    const std::pair<const char*, const char*> keys[] = {
        {"pemo.http.port", "0"},
        {"pemo.http.threads", "2"},
        {"pemo.auth.tokens[0]", "fuzz-token"},
        {"SystemManager.skill.executable", "/bin/true"},
        {"SystemManager.skill.path.pemo[0]", "/opt/skills"},
        {"SystemManager.skill.modes.normal.user", "root"},
        {"SystemManager.powerManager.warning", "0"},
        {"SystemManager.powerButton.path", "/var/run/no-power-button"},
        {"SystemManager.storage.semantic.logs", "/var/log"},
        {"SystemManager.credentials.path", "/var/pemo/credentials.json"},
        {"SystemManager.time.timezone_path", "/var/etc/timezone"},
        {"SystemManager.time.localtime_path", "/var/etc/localtime"},
        {"SystemManager.time.ntpd_init", "/bin/true"},
        {"SystemManager.time.ntpdate.command", "/bin/true"},
        {"SystemManager.time.hwclock.command", "/bin/true"},
        {"SystemManager.service.backup.executable", "/bin/true"},
        {"SystemManager.service.restore.executable", "/bin/true"},
        {"SystemManager.update.subsystems.os.version_check", "os"},
        {"SystemManager.update.subsystems.os.apply_method", "system"},
        {"SystemManager.update.subsystems.os.default_order", "1"},
        {"SystemManager.firewall.mode_commands.developer[0]", "-p tcp --dport 22 -j ACCEPT"},
        {"SystemManager.wifi.augeas.root", "/var/augeas"},
        {"SystemManager.wifi.ifdown", "/bin/true"},
        {"SystemManager.wifi.ifup", "/bin/true"},
        // The DHCP client is found and signalled by its command line
        // (pgrep -f), and this process shares the machine's process ids: a
        // name no other process has keeps a fuzzed static address from
        // stopping the machine's programs.
        {"SystemManager.wifi.udhcpc.executable", "/usr/sbin/pemo-fuzz-udhcpc"},
        {"SystemManager.wifi.wpa.runtime", "/var/run/wpa_supplicant"},
    };
    for (const auto& [key, value] : keys)
        c->setString(key, value);
    return c;
}

class Service : public system::SystemManager
{
public:
    void bringUp(Poco::Util::Application& app)
    {
        initialize(app);
        start();
    }
    unsigned servedPort() const { return port(); }
};

} // namespace

const std::string FuzzedSystem::SKILL_DIRECTORY("/opt/skills");
const std::string FuzzedSystem::TOKEN("fuzz-token");

FuzzedSystem& FuzzedSystem::instance()
{
    // Never destroyed: libFuzzer ends the process with exit().
    static FuzzedSystem* system = new FuzzedSystem;
    return *system;
}

FuzzedSystem::FuzzedSystem()
{
    confine();
    Poco::Logger::setLevel("", Poco::Message::PRIO_FATAL);
    Poco::Logger::root().setLevel(Poco::Message::PRIO_FATAL);
    auto* app = new Poco::Util::Application;
    app->config().add(configuration(), "fuzz", -100, false);
    static Service* service = new Service;
    service->bringUp(*app);
    // Stopped before the process's static objects go (the in-process
    // directory among them), which the service's threads would still use.
    std::atexit([] { service->stop(); });
    Poco::Logger::setLevel("", Poco::Message::PRIO_FATAL);
    _port = service->servedPort();
}

HTTPExchange::Answer FuzzedSystem::answered(const std::string& method, const std::string& path,
                                            const std::string& token, const std::string& body)
{
    HTTPExchange::Answer answer;
    try
    {
        Poco::Net::HTTPRequest request(method, path, Poco::Net::HTTPMessage::HTTP_1_1);
        if (!token.empty())
            request.set("Pemo-Authenticate", token);
        answer = HTTPExchange::perform(Poco::Net::SocketAddress("127.0.0.1", static_cast<Poco::UInt16>(_port)),
                                       request, body, Poco::Timespan(5, 0));
    }
    catch (const Poco::Exception&)
    {
        // No answer: the status stays 0.
    }
    if (answer.status < 100 || answer.status > 599)
    {
        std::fprintf(stderr, "%s %s got no answer (status %d)\n", method.c_str(), path.c_str(), answer.status);
        std::abort();
    }
    return answer;
}

} // namespace pemo::fuzz
