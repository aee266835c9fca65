// Callers without the full permission set are refused on every route
// before any handler runs; the broadcast ports take WebSocket subscribers
// that present a token (the framework refuses the others before any port,
// as its own tests pin).
#include "RouteCases.h"
#include "SharedDevice.h"

#include <gtest/gtest.h>

namespace pemo::test {
namespace {

class AuthTest : public ::testing::Test
{
protected:
    void SetUp() override { sharedDevice(); }
    std::uint16_t port() const { return sharedDevice().port(); }
};

// Refused before any handler runs: not even the mode program is started.
TEST_F(AuthTest, CallersWithoutAValidTokenAreRefusedOnEveryRoute)
{
    const SimDevice& device = sharedDevice();
    device.clearCalls("pemo-setmode");
    device.clearCalls("pemo-getmode");
    const std::vector<std::pair<std::string, ApiClient>> callers = {
        {"no token", ApiClient(port(), std::nullopt)},
        {"an unknown token", ApiClient(port(), "not-" + sharedDevice().token())},
        {"an empty token", ApiClient(port(), "")},
        {"a longer token", ApiClient(port(), sharedDevice().token() + "x")},
    };
    for (const auto& [who, client] : callers)
    {
        for (const auto& c : routeCases())
        {
            for (const std::string& path : c.paths())
            {
                const HttpResponse r = client.request(c.method, path, c.body);
                EXPECT_EQ(r.status, 403) << c.method << " " << path << " with " << who << " answered " << r.status
                                         << " \"" << r.reason << "\"";
                EXPECT_TRUE(r.body.empty()) << c.method << " " << path << " with " << who;
            }
        }
        EXPECT_EQ(client.post("/mode", R"({"mode":"developer"})").status, 403) << who;
    }
    EXPECT_TRUE(device.calls("pemo-setmode").empty());
    EXPECT_TRUE(device.calls("pemo-getmode").empty());
}

TEST_F(AuthTest, TheHeaderNameIsCaseInsensitive)
{
    ApiClient bare(port(), std::nullopt);
    const HttpResponse r = bare.request("GET", "/mode", "", {{"pemo-authenticate", sharedDevice().token()}});
    EXPECT_EQ(r.status, 200) << r.reason;
}

TEST_F(AuthTest, BothBroadcastPortsAcceptSubscribersWithAToken)
{
    for (const std::string path : {"/system_notifications", "/system_notifications/", "/wifi/messages",
                                    "/wifi/messages/"})
    {
        int status = 0;
        auto subscriber = WebSocketSubscriber::connect(port(), path, sharedDevice().token(), status);
        EXPECT_TRUE(subscriber != nullptr) << path << " refused the subscriber with " << status;
        EXPECT_EQ(status, 101) << path;
    }
}

} // namespace
} // namespace pemo::test
