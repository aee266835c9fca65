// Firewall modes end to end: /dynamic_firewall empties and refills the
// DYNAMIC_ACCESS chain through the device's iptables and ip6tables, which
// record every call (and fail on request, see PolicyDevice).
#include "PolicyDevice.h"

#include <gtest/gtest.h>

namespace pemo::test {
namespace {

using Calls = std::vector<std::vector<std::string>>;
using Args = std::vector<std::string>;

const Args FLUSH{"-t", "filter", "-F", "DYNAMIC_ACCESS"};

Args append(const Args& rule)
{
    Args args{"-t", "filter", "-A", "DYNAMIC_ACCESS"};
    args.insert(args.end(), rule.begin(), rule.end());
    return args;
}

const Args SSH{"-p", "tcp", "--dport", "22", "-j", "ACCEPT"};
const Args API{"-p", "tcp", "--dport", "8080", "-j", "ACCEPT"};
const Args ICMP{"-p", "icmp", "-j", "ACCEPT"};

std::string modeBody(const std::string& mode)
{
    return "{\n    \"mode\": \"" + mode + "\"\n}";
}

class FirewallTest : public ::testing::Test
{
protected:
    // What the daemon did before any request: read before a test adds calls.
    static void SetUpTestSuite()
    {
        startupIPv4 = policyDevice().calls("iptables");
        startupIPv6 = policyDevice().calls("ip6tables");
    }

    void SetUp() override
    {
        device().writeStateFile("platform/iptables-fault", "");
        ASSERT_EQ(api().post("/dynamic_firewall", R"({"mode":"off"})").status, 200);
        clearCalls();
    }

    void clearCalls()
    {
        device().clearCalls("iptables");
        device().clearCalls("ip6tables");
    }

    // Both families always receive the same commands.
    void expectBothFamilies(const Calls& expected)
    {
        EXPECT_EQ(device().calls("iptables"), expected);
        EXPECT_EQ(device().calls("ip6tables"), expected);
    }

    std::string currentMode() { return api().get("/dynamic_firewall").body; }

    SimDevice& device() { return policyDevice(); }
    ApiClient api() { return policyApi(); }

    static Calls startupIPv4;
    static Calls startupIPv6;
};
Calls FirewallTest::startupIPv4;
Calls FirewallTest::startupIPv6;

TEST_F(FirewallTest, StartsOffWithTheChainEmptiedForBothFamilies)
{
    EXPECT_EQ(startupIPv4, Calls{FLUSH});
    EXPECT_EQ(startupIPv6, Calls{FLUSH});
    EXPECT_FALSE(logLines(policyDevice(), "No commands for mode quiet").empty());

    const HttpResponse r = api().get("/dynamic_firewall");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.header("Content-Type"), "application/json");
    EXPECT_EQ(r.body, modeBody("off"));
}

TEST_F(FirewallTest, AModeFlushesThenAppendsItsRulesInOrderWordByWord)
{
    const HttpResponse r = api().post("/dynamic_firewall", R"({"mode":"developer"})");

    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, modeBody("developer"));
    expectBothFamilies({FLUSH, append(SSH), append(API)});
    EXPECT_EQ(currentMode(), modeBody("developer"));
}

TEST_F(FirewallTest, OffAndAModeWithoutRulesOnlyEmptyTheChain)
{
    for (const std::string mode : {"quiet", "off"})
    {
        ASSERT_EQ(api().post("/dynamic_firewall", R"({"mode":"developer"})").status, 200);
        clearCalls();
        const HttpResponse r = api().post("/dynamic_firewall", R"({"mode":")" + mode + "\"}");
        EXPECT_EQ(r.status, 200);
        EXPECT_EQ(r.body, modeBody(mode));
        expectBothFamilies({FLUSH});
        EXPECT_EQ(currentMode(), modeBody(mode));
    }
}

TEST_F(FirewallTest, UnknownModesAndUnreadableBodiesChangeNothing)
{
    ASSERT_EQ(api().post("/dynamic_firewall", R"({"mode":"developer"})").status, 200);
    clearCalls();

    HttpResponse r = api().post("/dynamic_firewall", R"({"mode":"Developer"})");
    EXPECT_EQ(r.status, 400);
    EXPECT_EQ(r.reason, "Invalid Mode Request");
    EXPECT_TRUE(r.body.empty());

    for (const char* body : {"{", "", "mode=off", R"({"mod":"off"})", R"({"mode":0})", "[\"off\"]"})
    {
        r = api().post("/dynamic_firewall", body);
        EXPECT_EQ(r.status, 400) << body;
        EXPECT_EQ(r.reason, "Invalid JSON") << body;
    }

    expectBothFamilies({});
    EXPECT_EQ(currentMode(), modeBody("developer"));
}

// The IPv6 filter refuses the mode's second rule after the IPv4 one took
// it: the daemon reports the failure and puts the previous mode back.
TEST_F(FirewallTest, ARuleRefusedForIPv6RestoresThePreviousMode)
{
    ASSERT_EQ(api().post("/dynamic_firewall", R"({"mode":"developer"})").status, 200);
    clearCalls();

    const HttpResponse r = api().post("/dynamic_firewall", R"({"mode":"ping"})");

    EXPECT_EQ(r.status, 500);
    EXPECT_TRUE(r.body.empty());
    expectBothFamilies({FLUSH, append(SSH), append(ICMP), FLUSH, append(SSH), append(API)});
    EXPECT_FALSE(logLines(policyDevice(), "error in /usr/sbin/ip6tables append: ip6tables v1.8.9 (legacy): unknown "
                                      "protocol \"icmp\" specified").empty());
    EXPECT_EQ(currentMode(), modeBody("developer"));
}

// A flush that fails stops at the first family and leaves the mode as it
// was; the attempt to restore it fails the same way.
TEST_F(FirewallTest, AFailedFlushKeepsTheModeAndSparesTheOtherFamily)
{
    ASSERT_EQ(api().post("/dynamic_firewall", R"({"mode":"developer"})").status, 200);
    clearCalls();
    device().writeStateFile("platform/iptables-fault", "flush");

    const HttpResponse r = api().post("/dynamic_firewall", R"({"mode":"off"})");

    EXPECT_EQ(r.status, 500);
    EXPECT_EQ(device().calls("iptables"), (Calls{FLUSH, FLUSH}));
    EXPECT_TRUE(device().calls("ip6tables").empty());
    EXPECT_FALSE(logLines(policyDevice(), "error in /usr/sbin/iptables flush: iptables: No chain/target/match by that "
                                      "name.").empty());
    EXPECT_EQ(currentMode(), modeBody("developer"));
}

} // namespace
} // namespace pemo::test
