// The session endpoints on the default device, whose registered services
// all answer.
#include "SharedDevice.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace pemo::test {
namespace {

std::string tokenOf(const HttpResponse& response)
{
    const auto at = response.body.find("\"token\": \"") + 10;
    return response.body.substr(at, response.body.find('"', at) - at);
}

std::string sessionBody(const std::string& token)
{
    return "{\n    \"session\": {\n        \"token\": \"" + token +
           "\",\n        \"permissions\": {\n            \"recordVideo\": false,\n            \"recordAudio\": false,\n"
           "            \"takePhoto\": false,\n            \"firePhotonTorpedos\": false\n        }\n    }\n}";
}

TEST(SessionTest, RequestedSessionsHoldNoPermissionsAndAreListedInTokenOrder)
{
    const HttpResponse first = sharedApi().get("/session/request");
    const HttpResponse second = sharedApi().get("/session/request");
    ASSERT_EQ(first.status, 200);
    ASSERT_EQ(second.status, 200);
    EXPECT_EQ(first.body, sessionBody(tokenOf(first)));
    EXPECT_NE(tokenOf(first), tokenOf(second));

    const HttpResponse list = sharedApi().get("/session/list");
    ASSERT_EQ(list.status, 200);
    const auto a = list.body.find(std::min(tokenOf(first), tokenOf(second)));
    const auto b = list.body.find(std::max(tokenOf(first), tokenOf(second)));
    ASSERT_NE(a, std::string::npos);
    ASSERT_NE(b, std::string::npos);
    EXPECT_LT(a, b);
    EXPECT_EQ(list.body.rfind("{\n    \"sessions\": [\n", 0), 0u);
}

TEST(SessionTest, DeletingTheCurrentSessionLeavesNoCurrentSession)
{
    const std::string token = tokenOf(sharedApi().get("/session/request"));
    EXPECT_EQ(sharedApi().post("/session/current", R"({"session": ")" + token + "\"}").status, 204);
    EXPECT_EQ(sharedApi().get("/session/current").body, sessionBody(token));

    EXPECT_EQ(sharedApi().post("/session/delete", R"({"session": ")" + token + "\"}").status, 204);
    const HttpResponse current = sharedApi().get("/session/current");
    EXPECT_EQ(current.status, 400);
    EXPECT_EQ(current.reason, "No current session");
    EXPECT_TRUE(current.body.empty());
}

TEST(SessionTest, UnknownTokensAndMalformedBodies)
{
    HttpResponse r = sharedApi().post("/session/delete", R"({"session": "no-such-token"})");
    EXPECT_EQ(r.status, 404);
    EXPECT_EQ(r.reason, "Not Found");
    r = sharedApi().post("/session/current", R"({"session": "no-such-token"})");
    EXPECT_EQ(r.status, 400);
    EXPECT_EQ(r.reason, "No current session");
    for (const std::string body : {R"({"token": "x"})", R"({"session": 5})", "not json"})
    {
        for (const std::string path : {"/session/delete", "/session/current"})
        {
            r = sharedApi().post(path, body);
            EXPECT_EQ(r.status, 400) << path << " " << body;
            EXPECT_EQ(r.reason, "Malformed arguments") << path << " " << body;
        }
    }
}

} // namespace
} // namespace pemo::test
