// The version and identity reports end to end: /version runs the device's
// pemo-version, /identity reads /var/pemo/identity.json on every request.
#include "PolicyDevice.h"

#include <Poco/File.h>

#include <gtest/gtest.h>

namespace pemo::test {
namespace {

using Calls = std::vector<std::vector<std::string>>;

class VersionTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Poco::File answer(policyDevice().statePath("platform/os-version"));
        if (answer.exists())
            answer.remove();
        policyDevice().writeStateFile("platform/version-status", "0");
        policyDevice().clearCalls("pemo-version");
    }
    void TearDown() override { SetUp(); }
};

TEST_F(VersionTest, AnswersTheProgramsWholeOutputWithoutTrailingWhiteSpace)
{
    HttpResponse r = policyApi().get("/version");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.header("Content-Type"), "application/json");
    EXPECT_EQ(r.body, "{\n    \"version\": \"Pemo Release Version: Release-1.0.0-sim\"\n}");
    EXPECT_EQ(policyDevice().calls("pemo-version"), Calls{{}});

    policyDevice().writeStateFile("platform/os-version", "os 2.0\nskills 1.4 \n\n");
    r = policyApi().get("/version");
    EXPECT_EQ(r.body, "{\n    \"version\": \"os 2.0\\nskills 1.4\"\n}");
}

TEST_F(VersionTest, NoOutputOrAFailingProgramIsAnError)
{
    policyDevice().writeStateFile("platform/os-version", " \n");
    HttpResponse r = policyApi().get("/version");
    EXPECT_EQ(r.status, 500);
    EXPECT_EQ(r.reason, "Could not read version");
    EXPECT_TRUE(r.body.empty());

    policyDevice().writeStateFile("platform/os-version", "1.0\n");
    policyDevice().writeStateFile("platform/version-status", "1");
    r = policyApi().get("/version");
    EXPECT_EQ(r.status, 500);
    EXPECT_EQ(r.reason, "Could not read version");
}

class IdentityTest : public ::testing::Test
{
protected:
    void SetUp() override { saved = policyDevice().readStateFile(FILE); }
    void TearDown() override { policyDevice().writeStateFile(FILE, saved); }

    static constexpr const char* FILE = "device/var/pemo/identity.json";
    std::string saved;
};

TEST_F(IdentityTest, AnswersTheFactoryIdentity)
{
    const HttpResponse r = policyApi().get("/identity");

    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.header("Content-Type"), "application/json");
    EXPECT_EQ(r.body, "{\n    \"serial_number\": \"SIM-000001\",\n    \"name\": \"pemo-sim\",\n"
                      "    \"cpuid\": \"0000000000000001\",\n    \"wifi_mac\": \"02:00:00:00:00:01\"\n}");
}

// Read on every request: a changed file is answered at once, and only the
// four known members go out.
TEST_F(IdentityTest, FollowsTheFileAndDropsUnknownMembers)
{
    policyDevice().writeStateFile(FILE, R"({"wifi_mac": "m", "batch": 7, "cpuid": "c", "name": "n",
                                            "serial_number": "s"})");

    const HttpResponse r = policyApi().get("/identity");

    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, "{\n    \"serial_number\": \"s\",\n    \"name\": \"n\",\n    \"cpuid\": \"c\",\n"
                      "    \"wifi_mac\": \"m\"\n}");
}

TEST_F(IdentityTest, AMissingOrIncompleteFileIsAnError)
{
    policyDevice().writeStateFile(FILE, R"({"serial_number": "s", "name": "n", "cpuid": "c"})");
    HttpResponse r = policyApi().get("/identity");
    EXPECT_EQ(r.status, 500);
    EXPECT_EQ(r.reason, "Unable to parse identity file");
    EXPECT_TRUE(r.body.empty());

    Poco::File(policyDevice().statePath(FILE)).remove();
    r = policyApi().get("/identity");
    EXPECT_EQ(r.status, 500);
    EXPECT_EQ(r.reason, "Unable to read identity file");
}

} // namespace
} // namespace pemo::test
