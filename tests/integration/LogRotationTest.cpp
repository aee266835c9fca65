// Log rotation end to end: /logs/upload runs the device's logrotate once and
// answers its outcome in the body of an always-200 answer.
#include "PolicyDevice.h"

#include <gtest/gtest.h>

namespace pemo::test {
namespace {

using Calls = std::vector<std::vector<std::string>>;

class LogRotationTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        policyDevice().writeStateFile("platform/logrotate-status", "0");
        policyDevice().clearCalls("logrotate");
    }
};

TEST_F(LogRotationTest, RunsLogrotateForcedWithItsStateAndConfigurationFiles)
{
    const HttpResponse r = policyApi().post("/logs/upload");

    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.header("Content-Type"), "application/json");
    EXPECT_EQ(r.header("Transfer-Encoding"), "chunked");
    EXPECT_EQ(r.body, "{\n    \"result\": \"success\"\n}");
    EXPECT_EQ(policyDevice().calls("logrotate"),
              (Calls{{"-f", "-v", "-s", "/var/run/logrotate.status", "/etc/logrotate.conf"}}));
}

TEST_F(LogRotationTest, AFailedRotationIsStill200WithTheErrorInTheBody)
{
    policyDevice().writeStateFile("platform/logrotate-status", "1");

    const HttpResponse r = policyApi().post("/logs/upload");

    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, "{\n    \"result\": \"error\",\n    \"error\": \"logrotate failed\"\n}");
    EXPECT_EQ(policyDevice().calls("logrotate").size(), 1u);
    EXPECT_FALSE(logLines(policyDevice(), "logrotate error: 1").empty());
}

} // namespace
} // namespace pemo::test
