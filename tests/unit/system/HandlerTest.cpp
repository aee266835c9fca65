#include "FakeHTTP.h"
#include "ScratchDir.h"

#include "pemo/system/IdentityHandler.h"
#include "pemo/system/ModeHandler.h"
#include "pemo/system/VersionHandler.h"

#include <Poco/Path.h>

#include <gtest/gtest.h>

#include <cstdlib>

using namespace pemo::system;
using pemo::system::test::FakeRequest;
using pemo::system::test::FakeResponse;
using pemo::system::test::PathPrefix;
using pemo::system::test::ScratchDir;
using Poco::Net::HTTPResponse;

namespace {

const pemo::HTTPRequestHandler::Captures NO_CAPTURES;

std::shared_ptr<pemo::Session> caller()
{
    return std::make_shared<pemo::Session>("token", pemo::Permissions(true));
}

} // namespace

TEST(SystemHandlerTest, OnlyCallersHoldingEveryPermissionAreAllowed)
{
    const IdentityHandler handler;
    EXPECT_TRUE(handler.allows(pemo::Permissions(true)));
    EXPECT_FALSE(handler.allows(pemo::Permissions(false)));

    bool pemo::Permissions::*flags[] = {&pemo::Permissions::recordVideo, &pemo::Permissions::recordAudio,
                                        &pemo::Permissions::takePhoto, &pemo::Permissions::firePhotonTorpedos};
    for (auto flag : flags)
    {
        pemo::Permissions held(true);
        held.*flag = false;
        EXPECT_FALSE(handler.allows(held));
    }
}

class IdentityHandlerTest : public ::testing::Test
{
protected:
    FakeResponse get()
    {
        IdentityHandler handler(dir.file("identity.json"));
        FakeRequest request;
        FakeResponse response;
        handler.get(request, response, NO_CAPTURES, caller());
        EXPECT_EQ(1, response.sendCount());
        return response;
    }

    ScratchDir dir;
};

TEST_F(IdentityHandlerTest, MissingFileCannotBeRead)
{
    const FakeResponse response = get();

    EXPECT_EQ(HTTPResponse::HTTP_INTERNAL_SERVER_ERROR, response.getStatus());
    EXPECT_EQ("Unable to read identity file", response.getReason());
    EXPECT_EQ("", response.body());
}

TEST_F(IdentityHandlerTest, FileWithoutEveryStringMemberCannotBeParsed)
{
    for (const std::string content :
         {R"({"serial_number": "S1", "name": "robo", "cpuid": "C1"})",
          R"({"serial_number": "S1", "name": "robo", "cpuid": "C1", "wifi_mac": 12})", "serial=S1", ""})
    {
        dir.write("identity.json", content);
        const FakeResponse response = get();
        EXPECT_EQ(HTTPResponse::HTTP_INTERNAL_SERVER_ERROR, response.getStatus()) << content;
        EXPECT_EQ("Unable to parse identity file", response.getReason()) << content;
    }
}

TEST_F(IdentityHandlerTest, AnswersTheFourMembersInTheirOrderAndNothingElse)
{
    dir.write("identity.json",
              R"({"wifi_mac": "00:11", "factory": "x", "cpuid": "C1", "name": "robo", "serial_number": "S1"})");

    const FakeResponse response = get();

    EXPECT_EQ(HTTPResponse::HTTP_OK, response.getStatus());
    EXPECT_EQ("application/json", response.getContentType());
    EXPECT_EQ("{\n    \"serial_number\": \"S1\",\n    \"name\": \"robo\",\n    \"cpuid\": \"C1\",\n"
              "    \"wifi_mac\": \"00:11\"\n}",
              response.body());
}

// The mode and version programs are stand-ins on PATH; nothing here can
// reach the device's own mode.
class ProgramHandlerTest : public ::testing::Test
{
protected:
    ProgramHandlerTest() : prefix(dir.path()) {}

    void SetUp() override
    {
        // pemo-setmode records each call instead of changing anything.
        dir.script("pemo-setmode", "printf '%s|' \"$#\" \"$1\" >> " + dir.file("calls") + "; [ \"$1\" != refused ]");
        Poco::Path found;
        ASSERT_TRUE(Poco::Path::find(std::string(getenv("PATH")), "pemo-setmode", found));
        ASSERT_EQ(dir.file("pemo-setmode"), found.toString());
    }

    FakeResponse postMode(const std::string& body)
    {
        ModeHandler handler;
        FakeRequest request(body);
        FakeResponse response;
        handler.post(request, response, NO_CAPTURES, caller());
        EXPECT_EQ(1, response.sendCount());
        return response;
    }

    template <class Handler> FakeResponse get()
    {
        Handler handler;
        FakeRequest request;
        FakeResponse response;
        handler.get(request, response, NO_CAPTURES, caller());
        EXPECT_EQ(1, response.sendCount());
        return response;
    }

    ScratchDir dir;
    PathPrefix prefix;
};

TEST_F(ProgramHandlerTest, ModeIsAnsweredWithoutItsNewline)
{
    dir.script("pemo-getmode", "echo normal");

    const FakeResponse response = get<ModeHandler>();

    EXPECT_EQ(HTTPResponse::HTTP_OK, response.getStatus());
    EXPECT_EQ("{\n    \"mode\": \"normal\"\n}", response.body());
}

TEST_F(ProgramHandlerTest, UnreadableModeOrVersionIsAnError)
{
    dir.script("pemo-getmode", "echo normal; exit 1");
    dir.script("pemo-version", "printf '\\n'");

    const FakeResponse mode = get<ModeHandler>();
    EXPECT_EQ(HTTPResponse::HTTP_INTERNAL_SERVER_ERROR, mode.getStatus());
    EXPECT_EQ("Could not read mode", mode.getReason());

    const FakeResponse version = get<VersionHandler>();
    EXPECT_EQ(HTTPResponse::HTTP_INTERNAL_SERVER_ERROR, version.getStatus());
    EXPECT_EQ("Could not read version", version.getReason());
}

TEST_F(ProgramHandlerTest, VersionIsTheProgramsWholeOutput)
{
    dir.script("pemo-version", "printf 'os 2.1\\nskills 3\\n'");

    const FakeResponse response = get<VersionHandler>();

    EXPECT_EQ(HTTPResponse::HTTP_OK, response.getStatus());
    EXPECT_EQ("{\n    \"version\": \"os 2.1\\nskills 3\"\n}", response.body());
}

TEST_F(ProgramHandlerTest, MalformedModeRequestRunsNothing)
{
    for (const std::string body : {R"({"mod":"x"})", R"({"mode":1})", "normal"})
    {
        const FakeResponse response = postMode(body);
        EXPECT_EQ(HTTPResponse::HTTP_BAD_REQUEST, response.getStatus()) << body;
        EXPECT_EQ("Malformed arguments", response.getReason()) << body;
    }
    EXPECT_EQ("", dir.read("calls"));
}

TEST_F(ProgramHandlerTest, ModeIsSetByTheProgramsExitStatus)
{
    const FakeResponse empty = postMode(R"({"mode":""})");
    EXPECT_EQ(HTTPResponse::HTTP_NO_CONTENT, empty.getStatus());

    const FakeResponse refused = postMode(R"({"mode":"refused"})");
    EXPECT_EQ(HTTPResponse::HTTP_BAD_REQUEST, refused.getStatus());
    EXPECT_EQ("Could not set mode to refused", refused.getReason());

    EXPECT_EQ("1||1|refused|", dir.read("calls"));
}
