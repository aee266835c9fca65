// Wi-Fi on the simulated device, where every program behind it is real:
// wpa_supplicant (wired driver) on wlan0, ifup/ifdown, udhcpc, and busybox
// udhcpd at the other end of wlan0's veth pair. The tests share one device
// and each leaves it on DHCP with wpa_supplicant running. The control
// client's reconnection and the endpoints' failures are pinned by unit tests.
#include "Http.h"
#include "SharedDevice.h"
#include "SimDevice.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace pemo::test {
namespace {

using std::chrono::seconds;

const unsigned RECONNECT_MS = 2000;

SimDevice& device()
{
    SimOptions options;
    options.config = [](Poco::JSON::Object& root) {
        auto manager = root.getObject("SystemManager");
        manager->getObject("wifi")->getObject("wpa")->set("reconnect_interval", RECONNECT_MS);
        manager->getObject("service")->set("services", Poco::JSON::Array());
    };
    return sharedDevice(options);
}

ApiClient api()
{
    return ApiClient(device().port(), device().token());
}

// Leases the access point has granted or renewed.
std::size_t acks()
{
    return occurrences(device().readStateFile("log/udhcpd.log"), "sending ACK");
}

std::string wlan0Addresses()
{
    return device().exec({"ip", "-4", "-o", "addr", "show", "wlan0"}).output;
}

std::string interfaceBody(const std::string& method, const std::string& address, const std::string& netmask)
{
    return R"({"interface": {"method": ")" + method + R"(", "address": ")" + address +
           R"(", "network": "", "netmask": ")" + netmask + R"(", "broadcast": "", "gateway": "", "dns": ""}})";
}

bool associated()
{
    const HttpResponse r = api().post("/wifi/wpa", R"({"command": "STATUS"})");
    return r.status == 200 && r.body.find("wpa_state=COMPLETED") != std::string::npos;
}

// The next frame on subscriber that holds what, skipping the others.
std::string frameWith(WebSocketSubscriber& subscriber, const std::string& what)
{
    const auto deadline = std::chrono::steady_clock::now() + seconds(5);
    while (std::chrono::steady_clock::now() < deadline)
    {
        const auto frame = subscriber.receive(Poco::Timespan(1, 0));
        if (frame && frame->find(what) != std::string::npos)
            return *frame;
    }
    return "";
}

TEST(NetworkTest, InterfaceEndpointRewritesTheFileAndTheRealIfupAppliesIt)
{
    ASSERT_TRUE(eventually(associated)) << device().diagnostics();
    const HttpResponse current = api().get("/wifi/interface");
    EXPECT_EQ(200, current.status);
    EXPECT_NE(std::string::npos, current.body.find(R"("method": "dhcp")")) << current.body;

    ASSERT_EQ(204, api().post("/wifi/interface", interfaceBody("static", "192.168.77.50", "255.255.255.0")).status);
    EXPECT_NE(std::string::npos, device().readStateFile("device/etc/network/interfaces").find("inet static"));
    EXPECT_NE(std::string::npos, wlan0Addresses().find("inet 192.168.77.50/24"));
    ASSERT_TRUE(eventually(associated)) << "the control interface is back after the restart";

    ASSERT_EQ(204, api().post("/wifi/interface", interfaceBody("dhcp", "", "")).status);
    EXPECT_TRUE(eventually([] { return wlan0Addresses().find("inet 192.168.77.1") != std::string::npos; }))
        << wlan0Addresses();
    ASSERT_TRUE(eventually(associated));
}

TEST(NetworkTest, ConnectionEventsReachSubscribersAndTheRealUdhcpcRenewsItsLease)
{
    ASSERT_TRUE(eventually(associated)) << device().diagnostics();
    auto subscriber = subscribe(device(), "/wifi/messages");
    const std::size_t leases = acks();

    ASSERT_EQ(0, device().simulator("wifi", {"disconnect"}).status);
    EXPECT_EQ(R"({"message":"<3>CTRL-EVENT-DISCONNECTED bssid=01:80:c2:00:00:03 reason=3 locally_generated=1"})",
              frameWith(*subscriber, "CTRL-EVENT-DISCONNECTED"));
    ASSERT_EQ(0, device().simulator("wifi", {"reconnect"}).status);
    EXPECT_EQ(R"({"message":"<3>CTRL-EVENT-CONNECTED - Connection to 01:80:c2:00:00:03 completed [id=0 id_str=]"})",
              frameWith(*subscriber, "CTRL-EVENT-CONNECTED"));
    EXPECT_TRUE(eventually([&] { return acks() > leases; })) << "udhcpd saw no renewal";
}

// Switching from dhcp to static left the boot's udhcpc running: ifdown read
// the new stanza, whose method stops no client, and at its next renewal the
// old client replaced the static address.
TEST(NetworkTest, SwitchToStaticStopsTheDhcpClientTheOldMethodStarted)
{
    ASSERT_TRUE(eventually(associated)) << device().diagnostics();
    ASSERT_EQ(0, device().exec({"pgrep", "-x", "udhcpc"}).status) << "the boot's client runs";

    ASSERT_EQ(204, api().post("/wifi/interface", interfaceBody("static", "192.168.77.50", "255.255.255.0")).status);
    const ExecResult left = device().exec({"pgrep", "-a", "-x", "udhcpc"});
    EXPECT_NE(0, left.status) << "still running: " << left.output;
    EXPECT_EQ(std::string::npos, wlan0Addresses().find("inet 192.168.77.1")) << wlan0Addresses();
    EXPECT_NE(std::string::npos, wlan0Addresses().find("inet 192.168.77.50/24"));

    ASSERT_EQ(204, api().post("/wifi/interface", interfaceBody("dhcp", "", "")).status);
    EXPECT_TRUE(eventually([] { return wlan0Addresses().find("inet 192.168.77.1") != std::string::npos; }));
    ASSERT_TRUE(eventually(associated));
}

} // namespace
} // namespace pemo::test
