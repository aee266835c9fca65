// Log rotation end to end: /logs/upload runs the device's real logrotate
// once over its own /etc/logrotate.conf and answers the outcome in the body
// of an always-200 answer.
#include "PolicyDevice.h"

#include <gtest/gtest.h>

namespace pemo::test {
namespace {

class LogRotationTest : public ::testing::Test
{
protected:
    ExecResult inDevice(const std::string& script) { return policyDevice().exec({"sh", "-c", script}); }
};

TEST_F(LogRotationTest, RotatesTheDevicesLogsAndWritesTheStateFile)
{
    policyDevice().writeStateFile("log/rotation-probe.log", "before the rotation\n");

    const HttpResponse r = policyApi().post("/logs/upload");

    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.header("Content-Type"), "application/json");
    EXPECT_EQ(r.header("Transfer-Encoding"), "chunked");
    EXPECT_EQ(r.body, "{\n    \"result\": \"success\"\n}");
    // copytruncate: the old lines move to .1 and the file the daemon writes stays.
    EXPECT_EQ(policyDevice().readStateFile("log/rotation-probe.log.1"), "before the rotation\n");
    EXPECT_EQ(policyDevice().readStateFile("log/rotation-probe.log"), "");
    const ExecResult state = inDevice("cat /var/run/logrotate.status");
    EXPECT_EQ(state.status, 0) << state.output;
    EXPECT_NE(state.output.find("\"/var/log/rotation-probe.log\""), std::string::npos) << state.output;
}

TEST_F(LogRotationTest, AConfigurationLogrotateRejectsIsStill200WithTheErrorInTheBody)
{
    ASSERT_EQ(inDevice("cp /etc/logrotate.conf /etc/logrotate.conf.good && "
                       "printf '/var/log/*.log {\\n    rotate many\\n}\\n' > /etc/logrotate.conf")
                  .status,
              0);

    const HttpResponse r = policyApi().post("/logs/upload");

    inDevice("mv /etc/logrotate.conf.good /etc/logrotate.conf");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, "{\n    \"result\": \"error\",\n    \"error\": \"logrotate failed\"\n}");
    EXPECT_FALSE(logLines(policyDevice(), "logrotate error: 1").empty());
}

} // namespace
} // namespace pemo::test
