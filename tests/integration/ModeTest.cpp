// The operating mode end to end: /mode runs the device's pemo-getmode and
// pemo-setmode. What each outcome of those programs answers is pinned by the
// unit tests of the handler.
#include "SharedDevice.h"

#include <gtest/gtest.h>

namespace pemo::test {
namespace {

using Calls = std::vector<std::vector<std::string>>;

class ModeTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        device().writeStateFile("platform/mode", "normal\n");
        device().clearCalls("pemo-getmode");
        device().clearCalls("pemo-setmode");
    }
    SimDevice& device() const { return sharedDevice(); }
    ApiClient api() const { return sharedApi(); }
};

TEST_F(ModeTest, GetAnswersTheModeAsPrettyPrintedJson)
{
    const HttpResponse r = api().get("/mode");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.reason, "OK");
    EXPECT_EQ(r.body, "{\n    \"mode\": \"normal\"\n}");
    EXPECT_EQ(r.header("Content-Type"), "application/json");
    EXPECT_EQ(r.header("Content-Length"), std::to_string(r.body.size()));
    EXPECT_EQ(device().calls("pemo-getmode"), Calls{{}});
}

TEST_F(ModeTest, PostRunsSetModeWithTheModeAsItsOnlyArgument)
{
    const HttpResponse r = api().post("/mode", R"({"mode":"developer"})");
    EXPECT_EQ(r.status, 204);
    EXPECT_TRUE(r.body.empty());
    EXPECT_EQ(device().calls("pemo-setmode"), Calls{{"developer"}});
    EXPECT_EQ(api().get("/mode").body, "{\n    \"mode\": \"developer\"\n}");
}

} // namespace
} // namespace pemo::test
