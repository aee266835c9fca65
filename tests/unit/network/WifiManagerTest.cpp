// The interfaces file through real libaugeas and its Interfaces lens on real
// files in a scratch root, and the connection monitor's DHCP kick through
// real pgrep and signals to a stand-in client. The programs that restart the
// network are stand-ins that record their calls: the real ones would act on
// this machine. So is the DHCP client.
#include "network/Udhcpc.h"
#include "network/WifiInterfaceHandler.h"
#include "network/WifiManager.h"
#include "network/WifiWPAHandler.h"

#include "Eventually.h"
#include "FakeHTTP.h"
#include "LogCapture.h"
#include "ScratchDir.h"

#include <Poco/Process.h>
#include <Poco/Thread.h>
#include <Poco/Util/MapConfiguration.h>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <string>

namespace pemo {
namespace system {
namespace {

using test::call;
using test::ScratchDir;

class WifiManagerTest : public ::testing::Test
{
protected:
    WifiManagerTest() : config(new Poco::Util::MapConfiguration)
    {
        Poco::File(dir.file("etc/network")).createDirectories();
        const std::string record = "echo \"$0 $*\" >> '" + dir.file("calls") + "'";
        config->setString("augeas.root", dir.path() + "/");
        config->setString("ifdown", dir.script("ifdown", record));
        config->setString("ifup", dir.script("ifup", record));
        config->setString("wpa.runtime", dir.file("run"));
        config->setString("udhcpc.executable", dir.script("udhcpc", "exit 0"));
    }

    void writeInterfaces(const std::string& text) { dir.write("etc/network/interfaces", text); }
    std::string interfaces() const { return dir.read("etc/network/interfaces"); }
    std::unique_ptr<WifiManager> manager() { return std::make_unique<WifiManager>(config); }

    static NetworkInterface dhcp() { return NetworkInterface{"dhcp", "", "", "", "", "", ""}; }

    ScratchDir dir;
    Poco::AutoPtr<Poco::Util::MapConfiguration> config;
};

TEST_F(WifiManagerTest, AbsentEntryReadsEmptyAndIsCreatedAfterTheOthersThenTheNetworkRestarts)
{
    writeInterfaces("auto lo\niface lo inet loopback\n\nauto eth0\niface eth0 inet dhcp\n");
    auto wm = manager();
    EXPECT_EQ("", wm->getNetworkInterface().method);

    ASSERT_TRUE(wm->setNetworkInterface(dhcp()));
    EXPECT_EQ("auto lo\niface lo inet loopback\n\nauto eth0\niface eth0 inet dhcp\n"
              "auto wlan0\n"
              "iface wlan0 inet dhcp\n"
              "   post-up wpa_supplicant -B -i wlan0 -c /var/etc/wpa_supplicant.conf\n"
              "   pre-down wpa_cli -i wlan0 terminate\n"
              "   udhcpc_opts -R -b -t 3 -T 5 -A 5\n",
              interfaces());
    EXPECT_EQ(dir.file("ifdown") + " -f wlan0\n" + dir.file("ifup") + " wlan0\n", dir.read("calls"));
    EXPECT_EQ("dhcp", wm->getNetworkInterface().method);
}

TEST_F(WifiManagerTest, EntryAfterTwoOthersIsFoundAndDhcpClearsItsStaticLines)
{
    writeInterfaces("iface eth0 inet static\n    address 10.0.0.2\n    netmask 255.0.0.0\n"
                    "iface eth1 inet dhcp\n"
                    "iface wlan0 inet static\n    address 192.168.7.2\n    network 192.168.7.0\n"
                    "    netmask 255.255.255.0\n    broadcast 192.168.7.255\n    gateway 192.168.7.1\n"
                    "    dns-nameservers 192.168.7.1\n");
    auto wm = manager();
    const NetworkInterface read = wm->getNetworkInterface();
    EXPECT_EQ("static", read.method);
    EXPECT_EQ("192.168.7.2", read.address);
    EXPECT_EQ("192.168.7.0", read.network);
    EXPECT_EQ("255.255.255.0", read.netmask);
    EXPECT_EQ("192.168.7.255", read.broadcast);
    EXPECT_EQ("192.168.7.1", read.gateway);
    EXPECT_EQ("192.168.7.1", read.dns);

    ASSERT_TRUE(wm->setNetworkInterface(dhcp()));
    EXPECT_EQ("iface eth0 inet static\n    address 10.0.0.2\n    netmask 255.0.0.0\n"
              "iface eth1 inet dhcp\n"
              "iface wlan0 inet dhcp\n   udhcpc_opts -R -b -t 3 -T 5 -A 5\n",
              interfaces());
}

TEST_F(WifiManagerTest, StaticDropsUdhcpcOptionsAndEveryEmptyField)
{
    writeInterfaces("iface wlan0 inet dhcp\n    gateway 10.1.1.1\n    udhcpc_opts -R\n");
    ASSERT_TRUE(manager()->setNetworkInterface(NetworkInterface{"static", "10.1.1.5", "", "255.255.255.0", "", "", ""}));
    EXPECT_EQ("iface wlan0 inet static\n   address 10.1.1.5\n   netmask 255.255.255.0\n", interfaces());
}

// The endpoint's answer when the save fails; a read-only file on the device
// takes the same path.
TEST_F(WifiManagerTest, UnsavableEntryIsRefusedAndTheNetworkLeftAlone)
{
    const std::string before = "iface wlan0 inet dhcp\n";
    writeInterfaces(before);
    WifiInterfaceHandler handler(manager());
    pemo::test::LogCapture log("SystemManager.WifiManager");
    // A line break cannot be written into a stanza; as root, a file mode
    // would not stop the save.
    const std::string broken = R"({"interface": {"method": "static", "address": "10.0.0.1\nauto eth9",
        "network": "", "netmask": "", "broadcast": "", "gateway": "", "dns": ""}})";
    EXPECT_EQ("500 Could not set network interface\n", call(handler, "POST", broken).text());
    EXPECT_EQ(before, interfaces());
    EXPECT_EQ("", dir.read("calls"));
    EXPECT_TRUE(log.contains("Could not save settings: Error("));
}

// A request the control interface cannot pass on answers its reply as the
// reason; the other outcomes are answered by the device itself.
TEST_F(WifiManagerTest, EndpointsAnswerWithoutAManagerAndWriteTheEntryAsOneObject)
{
    WifiInterfaceHandler noInterface(nullptr);
    WifiWPAHandler noWpa(nullptr);
    EXPECT_EQ("500 Wireless device not available\n", call(noInterface, "GET").text());
    EXPECT_EQ("500 Wireless device not available\n", call(noInterface, "POST", "{}").text());
    EXPECT_EQ("500 Wireless device not available\n", call(noWpa, "POST", R"({"command": "PING"})").text());

    writeInterfaces("iface wlan0 inet static\n    address 10.0.0.9\n");
    WifiInterfaceHandler interface(manager());
    EXPECT_EQ("200 OK\n{\n    \"interface\": {\n        \"method\": \"static\",\n        \"address\": \"10.0.0.9\",\n"
              "        \"network\": \"\",\n        \"netmask\": \"\",\n        \"broadcast\": \"\",\n"
              "        \"gateway\": \"\",\n        \"dns\": \"\"\n    }\n}",
              call(interface, "GET").text());
    WifiWPAHandler unconnected(manager());
    EXPECT_EQ("500 Not connected to wpa_supplicant\n",
              call(unconnected, "POST", R"({"command": "STATUS"})").text());
}

// A stand-in DHCP client: records its arguments and every SIGUSR1. Its
// unique path is what pgrep finds it by.
class ConnectionMonitorTest : public ::testing::Test
{
protected:
    ConnectionMonitorTest()
    {
        client = dir.script("udhcpc-stand-in",
                            "echo \"$*\" >> '" + dir.file("args") + "'\n"
                            "trap \"echo renew >> '" + dir.file("renewed") + "'\" USR1\n"
                            "echo up > '" + dir.file("ready") + "'\n"
                            "while :; do sleep 0.05; done");
        Udhcpc::Params params;
        params.executable = client;
        udhcpc = std::make_shared<Udhcpc>(params);
        monitor = std::make_unique<WifiManager::ConnectionMonitor>(udhcpc);
    }
    ~ConnectionMonitorTest() override
    {
        for (int i = 0, pid; i < 50 && (pid = getPID(client)) > 0; ++i)
            ::kill(pid, SIGKILL), Poco::Thread::sleep(20);
    }
    // SIGUSR1s the client has noted.
    std::size_t renewals(std::size_t expected)
    {
        for (int i = 0; i < 20 && dir.read("renewed").size() < expected * 6; ++i)
            Poco::Thread::sleep(50);
        return dir.read("renewed").size() / 6;
    }

    const std::string CONNECTED = "<3>CTRL-EVENT-CONNECTED - Connection to 01:80:c2:00:00:03 completed [id=0 id_str=]";
    ScratchDir dir;
    std::string client;
    std::shared_ptr<Udhcpc> udhcpc;
    std::unique_ptr<WifiManager::ConnectionMonitor> monitor;
    pemo::test::LogCapture log{"SystemManager.WifiManager.ConnectionMonitor"};
};

TEST_F(ConnectionMonitorTest, OnlyAConnectionEventWithDhcpRenewsTheRunningClient)
{
    Poco::Process::launch(client, {});
    // Only once its trap is set; under emulation a shell takes a while to get there.
    ASSERT_TRUE(pemo::test::eventually([&] { return !dir.read("ready").empty(); }));
    ASSERT_TRUE(udhcpc->isRunning());
    monitor->setMethod("dhcp");
    monitor->onMessage("<3>CTRL-EVENT-DISCONNECTED bssid=01:80:c2:00:00:03 reason=3 locally_generated=1");
    monitor->onMessage("CTRL-EVENT-CONNECTED - Connection to 01:80:c2:00:00:03 completed");
    monitor->onMessage("<3>CTRL-EVENT-CONNECTED"); // no blank after the event word
    EXPECT_EQ(0u, renewals(0));

    monitor->onMessage(CONNECTED);
    EXPECT_EQ(1u, renewals(1));
    EXPECT_TRUE(log.contains("signaled udhcpc"));

    monitor->setMethod("static");
    monitor->onMessage(CONNECTED);
    EXPECT_EQ(1u, renewals(2));
    EXPECT_TRUE(log.contains("connection event with static IP"));
}

TEST_F(ConnectionMonitorTest, AbsentClientIsStartedAndGivenFiveSecondsBeforeItIsSignalled)
{
    EXPECT_EQ(0, getPID(client));
    monitor->setMethod("dhcp");
    const auto before = std::chrono::steady_clock::now();
    monitor->onMessage(CONNECTED);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
    EXPECT_EQ("-i wlan0\n", dir.read("args")) << "the arguments go as one, unsplit";
    EXPECT_EQ(1u, renewals(1));
}

} // namespace
} // namespace system
} // namespace pemo
