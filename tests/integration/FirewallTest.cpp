// Firewall modes end to end: /dynamic_firewall empties and refills the
// DYNAMIC_ACCESS chain through the device's real iptables and ip6tables, and
// the tests read the chains back from the packet filter itself.
#include "PolicyDevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace pemo::test {
namespace {

using Lines = std::vector<std::string>;

// The chain as the filter lists it: its own line, then one per rule.
const std::string CHAIN = "-N DYNAMIC_ACCESS";
const std::string SSH = "-A DYNAMIC_ACCESS -p tcp -m tcp --dport 22 -j ACCEPT";
const std::string API = "-A DYNAMIC_ACCESS -p tcp -m tcp --dport 8080 -j ACCEPT";

std::string modeBody(const std::string& mode)
{
    return "{\n    \"mode\": \"" + mode + "\"\n}";
}

class FirewallTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(api().post("/dynamic_firewall", R"({"mode":"developer"})").status, 200); }

    // Runs a filter program inside the device; its output, line by line.
    Lines filter(const std::string& program, const Lines& args)
    {
        Lines argv{program};
        argv.insert(argv.end(), args.begin(), args.end());
        const ExecResult result = device().exec(argv);
        EXPECT_EQ(result.status, 0) << program << ": " << result.output;
        Lines lines;
        std::istringstream in(result.output);
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
        return lines;
    }

    Lines chain(const std::string& program) { return filter(program, {"-S", "DYNAMIC_ACCESS"}); }

    void expectBothFamilies(const Lines& expected)
    {
        EXPECT_EQ(chain("iptables"), expected);
        EXPECT_EQ(chain("ip6tables"), expected);
    }

    std::string currentMode() { return api().get("/dynamic_firewall").body; }

    SimDevice& device() { return policyDevice(); }
    ApiClient api() { return policyApi(); }
};

// The platform's chain and jump exist before the daemon starts, and the
// daemon's first flush goes through on both families.
TEST_F(FirewallTest, TheDaemonStartsOffOnThePlatformsChain)
{
    EXPECT_TRUE(logLines(device(), "error in /usr/sbin/ip").empty());
    EXPECT_FALSE(logLines(device(), "No commands for mode quiet").empty());
    for (const char* program : {"iptables", "ip6tables"})
    {
        const Lines input = filter(program, {"-S", "INPUT"});
        EXPECT_NE(std::find(input.begin(), input.end(), "-A INPUT -j DYNAMIC_ACCESS"), input.end()) << program;
    }
}

TEST_F(FirewallTest, AModesRulesLandInOrderInBothFamilies)
{
    ASSERT_EQ(api().post("/dynamic_firewall", R"({"mode":"quiet"})").status, 200);

    const HttpResponse r = api().post("/dynamic_firewall", R"({"mode":"developer"})");

    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.header("Content-Type"), "application/json");
    EXPECT_EQ(r.body, modeBody("developer"));
    expectBothFamilies({CHAIN, SSH, API});
    // Switching to the same mode again replaces the rules, never doubles them.
    ASSERT_EQ(api().post("/dynamic_firewall", R"({"mode":"developer"})").status, 200);
    expectBothFamilies({CHAIN, SSH, API});
}

TEST_F(FirewallTest, OffAndAModeWithoutRulesLeaveTheChainEmpty)
{
    for (const std::string mode : {"quiet", "off"})
    {
        ASSERT_EQ(api().post("/dynamic_firewall", R"({"mode":"developer"})").status, 200);
        const HttpResponse r = api().post("/dynamic_firewall", R"({"mode":")" + mode + "\"}");
        EXPECT_EQ(r.status, 200);
        EXPECT_EQ(r.body, modeBody(mode));
        expectBothFamilies({CHAIN});
        EXPECT_EQ(currentMode(), modeBody(mode));
    }
}

// The route's answers to every malformed body are pinned by the survey.
TEST_F(FirewallTest, UnknownModesAndUnreadableBodiesChangeNothing)
{
    const HttpResponse r = api().post("/dynamic_firewall", R"({"mode":"Developer"})");
    EXPECT_EQ(r.status, 400);
    EXPECT_EQ(r.reason, "Invalid Mode Request");
    EXPECT_TRUE(r.body.empty());
    EXPECT_EQ(api().post("/dynamic_firewall", R"({"mode":0})").reason, "Invalid JSON");
    expectBothFamilies({CHAIN, SSH, API});
    EXPECT_EQ(currentMode(), modeBody("developer"));
}

// ip6tables refuses the mode's IPv4 network after iptables took it: the
// daemon logs the filter's own words and puts the previous mode back.
TEST_F(FirewallTest, ARuleRefusedByIp6tablesRestoresThePreviousMode)
{
    const HttpResponse r = api().post("/dynamic_firewall", R"({"mode":"lan"})");

    EXPECT_EQ(r.status, 500);
    EXPECT_TRUE(r.body.empty());
    expectBothFamilies({CHAIN, SSH, API});
    EXPECT_FALSE(
        logLines(device(), "error in /usr/sbin/ip6tables append: ip6tables v1.8.9 (nf_tables): host/network "
                           "`192.168.0.0' not found")
            .empty());
    EXPECT_EQ(currentMode(), modeBody("developer"));
}

// Without the IPv4 chain the flush fails at the first family: the mode
// stays, and the IPv6 chain keeps its rules untouched.
TEST_F(FirewallTest, AFailedFlushKeepsTheModeAndSparesTheOtherFamily)
{
    filter("iptables", {"-D", "INPUT", "-j", "DYNAMIC_ACCESS"});
    filter("iptables", {"-F", "DYNAMIC_ACCESS"});
    filter("iptables", {"-X", "DYNAMIC_ACCESS"});

    const HttpResponse r = api().post("/dynamic_firewall", R"({"mode":"off"})");

    filter("iptables", {"-N", "DYNAMIC_ACCESS"});
    filter("iptables", {"-A", "INPUT", "-j", "DYNAMIC_ACCESS"});
    EXPECT_EQ(r.status, 500);
    EXPECT_EQ(chain("ip6tables"), (Lines{CHAIN, SSH, API}));
    EXPECT_FALSE(
        logLines(device(), "error in /usr/sbin/iptables flush: iptables: No chain/target/match by that name.").empty());
    EXPECT_EQ(currentMode(), modeBody("developer"));
}

} // namespace
} // namespace pemo::test
