// The operating mode end to end: /mode runs the device's pemo-getmode and
// pemo-setmode. What each outcome of those programs answers is pinned by the
// unit tests of the handler.
#include "SharedDevice.h"

#include <gtest/gtest.h>

namespace pemo::test {
namespace {

using Calls = std::vector<std::vector<std::string>>;

TEST(ModeTest, GetRunsGetModeAndPostRunsSetModeWithTheModeAsItsOnlyArgument)
{
    SimDevice& device = sharedDevice();
    const ApiClient api = sharedApi();
    device.writeStateFile("platform/mode", "normal\n");
    device.clearCalls("pemo-getmode");
    device.clearCalls("pemo-setmode");

    const HttpResponse got = api.get("/mode");
    EXPECT_EQ(got.status, 200);
    EXPECT_EQ(got.body, "{\n    \"mode\": \"normal\"\n}");
    EXPECT_EQ(got.header("Content-Type"), "application/json");
    EXPECT_EQ(device.calls("pemo-getmode"), Calls{{}});

    const HttpResponse set = api.post("/mode", R"({"mode":"developer"})");
    EXPECT_EQ(set.status, 204);
    EXPECT_TRUE(set.body.empty());
    EXPECT_EQ(device.calls("pemo-setmode"), Calls{{"developer"}});
    EXPECT_EQ(api.get("/mode").body, "{\n    \"mode\": \"developer\"\n}");
}

} // namespace
} // namespace pemo::test
