// The operating mode end to end: /mode runs the platform's pemo-getmode and
// pemo-setmode (the simulator's fakes, or failing ones from an overlay) and
// answers with their outcome.
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

// No mode is cached: each read runs the program again, sees a change made by
// someone else, and drops the trailing white space the program prints.
TEST_F(ModeTest, EveryReadRunsTheProgramAndTrimsItsOutput)
{
    ASSERT_EQ(api().get("/mode").status, 200);
    device().writeStateFile("platform/mode", "developer \t\r\n\n");
    const HttpResponse r = api().get("/mode");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, "{\n    \"mode\": \"developer\"\n}");
    EXPECT_EQ(device().calls("pemo-getmode").size(), 2u);
}

TEST_F(ModeTest, PostRunsSetModeWithTheModeAsItsOnlyArgument)
{
    HttpResponse r = api().post("/mode", R"({"mode":"developer"})");
    EXPECT_EQ(r.status, 204);
    EXPECT_TRUE(r.body.empty());
    EXPECT_EQ(device().calls("pemo-setmode"), Calls{{"developer"}});
    EXPECT_EQ(api().get("/mode").body, "{\n    \"mode\": \"developer\"\n}");

    // Passed as one argument, not through a shell.
    r = api().post("/mode", R"js({"mode":"a b \"c\" $(d)"})js");
    EXPECT_EQ(r.status, 204);
    EXPECT_EQ(device().calls("pemo-setmode").back(), std::vector<std::string>{"a b \"c\" $(d)"});
}

// The empty mode is handed to the program like any other; the simulator's
// pemo-setmode refuses it, so the answer is the failure.
TEST_F(ModeTest, AnEmptyModeIsPassedOnAndAnsweredByTheProgramsExitCode)
{
    const HttpResponse r = api().post("/mode", R"({"mode":""})");
    EXPECT_EQ(r.status, 400);
    EXPECT_EQ(r.reason, "Could not set mode to ");
    EXPECT_EQ(device().calls("pemo-setmode"), Calls{{""}});
}

TEST_F(ModeTest, MalformedBodiesAreRefusedWithoutRunningSetMode)
{
    for (const std::string body :
         {R"({"mod":"x"})", "mode=x", "", "[]", R"("x")", R"({"mode":5})", R"({"mode":null})", R"({"mode":["x"]})",
          R"({"mode":"x")"})
    {
        const HttpResponse r = api().post("/mode", body);
        EXPECT_EQ(r.status, 400) << body;
        EXPECT_EQ(r.reason, "Malformed arguments") << body;
        EXPECT_TRUE(r.body.empty()) << body;
    }
    EXPECT_TRUE(device().calls("pemo-setmode").empty());
}

// A device whose mode programs fail. Both still print or store a mode, so
// only a daemon that checks the exit code answers correctly.
class FailingModeProgramsTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        overlay = std::make_unique<TempDir>();
        overlay->write("usr/bin/pemo-getmode", R"(#!/bin/bash
. /usr/lib/pemo-sim/fake.sh
case $(cat "$PEMO_SIM/platform/getmode-fault" 2>/dev/null) in
  blank) printf ' \n\t\n' ;;
  *) echo normal; exit 1 ;;
esac
)",
                       0755);
        overlay->write("usr/bin/pemo-setmode", R"(#!/bin/bash
. /usr/lib/pemo-sim/fake.sh
printf '%s\n' "$1" > "$PEMO_SIM/platform/mode"
exit 3
)",
                       0755);
        device = std::make_unique<SimDevice>(SimOptions{{overlay->path()}, "", {}});
        device->start();
    }
    static void TearDownTestSuite()
    {
        if (device && device->running())
        {
            EXPECT_EQ(device->stop(), 0);
        }
        device.reset();
        overlay.reset();
    }
    void SetUp() override
    {
        ASSERT_TRUE(device && device->running());
        device->writeStateFile("platform/getmode-fault", "exit");
    }
    ApiClient api() const { return ApiClient(device->port(), device->token()); }

    static std::unique_ptr<TempDir> overlay;
    static std::unique_ptr<SimDevice> device;
};
std::unique_ptr<TempDir> FailingModeProgramsTest::overlay;
std::unique_ptr<SimDevice> FailingModeProgramsTest::device;

TEST_F(FailingModeProgramsTest, AFailingGetModeIsAnError)
{
    const HttpResponse r = api().get("/mode");
    EXPECT_EQ(r.status, 500);
    EXPECT_EQ(r.reason, "Could not read mode");
    EXPECT_TRUE(r.body.empty());
    EXPECT_FALSE(device->calls("pemo-getmode").empty()) << "the overlay's pemo-getmode was not run";
}

TEST_F(FailingModeProgramsTest, AModeOfOnlyWhiteSpaceIsAnError)
{
    device->writeStateFile("platform/getmode-fault", "blank");
    const HttpResponse r = api().get("/mode");
    EXPECT_EQ(r.status, 500);
    EXPECT_EQ(r.reason, "Could not read mode");
}

TEST_F(FailingModeProgramsTest, AFailingSetModeIsRefused)
{
    device->clearCalls("pemo-setmode");
    const HttpResponse r = api().post("/mode", R"({"mode":"x"})");
    EXPECT_EQ(r.status, 400);
    EXPECT_EQ(r.reason, "Could not set mode to x");
    EXPECT_TRUE(r.body.empty());
    EXPECT_EQ(device->calls("pemo-setmode"), Calls{{"x"}});
}

} // namespace
} // namespace pemo::test
