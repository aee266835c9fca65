#include "FakeHTTP.h"
#include "FakeServices.h"

#include "service/ServiceManager.h"
#include "session/SessionCurrentHandler.h"
#include "session/SessionDeleteHandler.h"
#include "session/SessionListHandler.h"
#include "session/SessionManager.h"
#include "session/SessionRequestHandler.h"

#include <gtest/gtest.h>

namespace pemo {
namespace system {
namespace {

using pemo::test::RecordingService;
using Answer = test::HandlerAnswer;
using test::call;

// The session endpoints over a session manager whose changes fan out to the
// recording registry.
class SessionManagerTest : public ::testing::Test
{
protected:
    static std::string tokenOf(const Answer& answer)
    {
        const auto at = answer.body.find("\"token\": \"") + 10;
        return answer.body.substr(at, answer.body.find('"', at) - at);
    }

    static std::string sessionBody(const std::string& token)
    {
        return "{\n    \"session\": {\n        \"token\": \"" + token +
               "\",\n        \"permissions\": {\n            \"recordVideo\": false,\n"
               "            \"recordAudio\": false,\n            \"takePhoto\": false,\n"
               "            \"firePhotonTorpedos\": false\n        }\n    }\n}";
    }

    static std::string named(const std::string& token) { return R"({"session": ")" + token + "\"}"; }

    pemo::test::RecordingService _registry;
    pemo::ServiceRegistryClient _registryClient{"127.0.0.1", _registry.port()};
    std::shared_ptr<ServiceManager> _services =
        std::make_shared<ServiceManager>(pemo::test::jsonConfig(R"({"connection_timeout": 500})"), _registryClient);
    std::shared_ptr<SessionManager> _sessions = std::make_shared<SessionManager>(nullptr, _services);
    SessionRequestHandler _request{_sessions};
    SessionListHandler _list{_sessions};
    SessionCurrentHandler _current{_sessions};
    SessionDeleteHandler _delete{_sessions};
};

TEST_F(SessionManagerTest, RequestedSessionsHoldNoPermissionsAndAreListedInTokenOrder)
{
    const Answer first = call(_request, "GET");
    const Answer second = call(_request, "GET");

    EXPECT_EQ(200, first.status);
    EXPECT_EQ(sessionBody(tokenOf(first)), first.body);
    EXPECT_NE(tokenOf(first), tokenOf(second));
    EXPECT_EQ(2u, _registry.requests().size());
    const std::string low = std::min(tokenOf(first), tokenOf(second));
    const std::string high = std::max(tokenOf(first), tokenOf(second));
    EXPECT_EQ("{\n    \"sessions\": [\n        \"" + low + "\",\n        \"" + high + "\"\n    ]\n}",
              call(_list, "GET").body);
}

TEST_F(SessionManagerTest, DeletingTheCurrentSessionLeavesNoCurrentSession)
{
    const std::string token = tokenOf(call(_request, "GET"));
    EXPECT_EQ(204, call(_current, "POST", named(token)).status);
    EXPECT_EQ(sessionBody(token), call(_current, "GET").body);

    EXPECT_EQ(204, call(_delete, "POST", named(token)).status);
    const Answer current = call(_current, "GET");
    EXPECT_EQ(400, current.status);
    EXPECT_EQ("No current session", current.reason);
    EXPECT_EQ("", current.body);

    // Selecting and deleting tell the single session, as a "session" member.
    const auto told = _registry.requests();
    ASSERT_EQ(3u, told.size());
    EXPECT_EQ("/_M_/current-session", told[1].path);
    EXPECT_EQ("/_M_/delete-session", told[2].path);
    EXPECT_EQ(sessionBody(token), told[1].body);
    EXPECT_EQ(sessionBody(token), told[2].body);
}

TEST_F(SessionManagerTest, UnknownTokensAndMalformedBodiesLeaveTheCurrentSession)
{
    const std::string token = tokenOf(call(_request, "GET"));
    ASSERT_EQ(204, call(_current, "POST", named(token)).status);

    Answer r = call(_delete, "POST", named("unknown"));
    EXPECT_EQ(404, r.status);
    EXPECT_EQ("Not Found", r.reason);
    r = call(_current, "POST", named("unknown"));
    EXPECT_EQ(400, r.status);
    EXPECT_EQ("No current session", r.reason);
    EXPECT_THROW(_sessions->getSession("unknown"), SessionManagerException);
    for (const std::string malformed : {R"({"session": 5})", R"({"token": "x"})", "{"})
    {
        EXPECT_EQ("400 Malformed arguments\n", call(_current, "POST", malformed).text()) << malformed;
        EXPECT_EQ("400 Malformed arguments\n", call(_delete, "POST", malformed).text()) << malformed;
    }
    EXPECT_EQ(sessionBody(token), call(_current, "GET").body);
}

// The change is made even when a service could not be told of it.
TEST_F(SessionManagerTest, AFailedFanOutStillSelectsAndDeletes)
{
    const std::string token = tokenOf(call(_request, "GET"));
    RecordingService silent(true);
    _registry.setRecords({pemo::test::recordAt("silent", silent.port())});

    Answer r = call(_current, "POST", named(token));
    EXPECT_EQ(500, r.status);
    EXPECT_EQ("Failed to communicate to other services", r.reason);
    EXPECT_EQ(sessionBody(token), call(_current, "GET").body);
    r = call(_delete, "POST", named(token));
    EXPECT_EQ(500, r.status);
    EXPECT_TRUE(_sessions->getSessions().empty());
}

} // namespace
} // namespace system
} // namespace pemo
