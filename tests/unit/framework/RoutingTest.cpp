#include "FrameworkTestSupport.h"

#include <gtest/gtest.h>

#include <mutex>

using namespace pemo;
using pemo::test::request;
using pemo::test::TestService;

namespace {

/// Answers 200 with its name and the captures it was given, joined by '|',
/// and remembers the session it saw.
class EchoHandler : public HTTPRequestHandler
{
public:
    EchoHandler(std::string name, bool getOnly = false) : _name(std::move(name)), _getOnly(getOnly) {}

    bool allows(const Permissions& held) const override { return Permissions::check(Permissions(true), held); }

    void get(Request&, Response& response, const Captures& captures, SessionPtr session) override
    {
        answer(response, captures, session);
    }

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override
    {
        if (_getOnly)
            return HTTPRequestHandler::post(request, response, captures, session);
        answer(response, captures, session);
    }

    std::string lastToken()
    {
        std::lock_guard<std::mutex> lock(_mutex);
        return _lastToken;
    }

private:
    void answer(Response& response, const Captures& captures, const SessionPtr& session)
    {
        {
            std::lock_guard<std::mutex> lock(_mutex);
            _lastToken = session->token;
        }
        std::string body = _name;
        for (const auto& capture : captures)
            body += "|" + capture;
        response.setContentLength(static_cast<std::streamsize>(body.size()));
        response.send() << body;
    }

    std::string _name;
    bool _getOnly;
    std::mutex _mutex;
    std::string _lastToken;
};

/// Lets in callers holding only recordAudio: proves allows() is the handler's.
class AudioOnlyHandler : public EchoHandler
{
public:
    AudioOnlyHandler() : EchoHandler("audio") {}
    bool allows(const Permissions& held) const override { return held.recordAudio; }
};

class RoutingTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        service = std::make_unique<TestService>([this](TestService& s) {
            s.registerHandler("^/first/?$", &first);
            s.registerHandler("^/fir.*$", &shadowed);
            s.registerHandler("^/update/?([a-zA-Z0-9-_.]+)?$", &update);
            s.registerHandler("^/getonly/?$", &getOnly);
            s.registerHandler("^/audio/?$", &audio);
        });
        service->startAll();
    }

    unsigned port() const { return service->port(); }

    EchoHandler first{"first"};
    EchoHandler shadowed{"shadowed"};
    EchoHandler update{"update"};
    EchoHandler getOnly{"getonly", true};
    AudioOnlyHandler audio;
    std::unique_ptr<TestService> service;
};

std::string session(const std::string& token, bool audioOnly = false)
{
    const std::string others = audioOnly ? "false" : "true";
    return R"({"token": ")" + token + R"(", "permissions": {"recordVideo": )" + others +
           R"(, "recordAudio": true, "takePhoto": )" + others + R"(, "firePhotonTorpedos": )" + others + "}}";
}

} // namespace

TEST_F(RoutingTest, FirstMatchingExpressionInRegistrationOrderWins)
{
    EXPECT_EQ(request(port(), "GET", "/first", "trusted").body, "first");
    EXPECT_EQ(request(port(), "GET", "/first/", "trusted").body, "first");
    EXPECT_EQ(request(port(), "GET", "/firstx", "trusted").body, "shadowed");
}

TEST_F(RoutingTest, CaptureGroupsReachTheHandler)
{
    EXPECT_EQ(request(port(), "GET", "/update/abc-1.2", "trusted").body, "update|abc-1.2");
    EXPECT_EQ(request(port(), "GET", "/updateabc", "trusted").body, "update|abc");
    EXPECT_EQ(request(port(), "GET", "/update/", "trusted").body.substr(0, 6), "update");
    // The query string is not part of the path that is matched.
    EXPECT_EQ(request(port(), "GET", "/update/x?y=1", "trusted").body, "update|x");
}

TEST_F(RoutingTest, UnmatchedPathIs404WhateverTheCaller)
{
    EXPECT_EQ(request(port(), "GET", "/nothing", "trusted").status, 404);
    EXPECT_EQ(request(port(), "GET", "/nothing").status, 404);
    EXPECT_EQ(request(port(), "GET", "/getonly/x", "trusted").status, 404);
}

TEST_F(RoutingTest, CallersWithoutTrustedTokenAreRefused)
{
    EXPECT_EQ(request(port(), "GET", "/first").status, 403);
    EXPECT_EQ(request(port(), "GET", "/first", "guess").status, 403);
    EXPECT_EQ(request(port(), "POST", "/update/a", "").status, 403);
    EXPECT_EQ(request(port(), "GET", "/first", "trusted").status, 200);
    EXPECT_EQ(first.lastToken(), "trusted");
}

TEST_F(RoutingTest, MethodTheHandlerDoesNotServeIs405)
{
    EXPECT_EQ(request(port(), "POST", "/getonly", "trusted").status, 405);
    EXPECT_EQ(request(port(), "PUT", "/first", "trusted").status, 405);
    EXPECT_EQ(request(port(), "DELETE", "/first", "trusted").status, 405);
    EXPECT_EQ(request(port(), "GET", "/getonly", "trusted").status, 200);
}

TEST_F(RoutingTest, AnnouncedSessionsAuthenticateWithTheirOwnPermissions)
{
    EXPECT_EQ(request(port(), "POST", "/_M_/session", "wexlor", "{\"sessions\": [" + session("full") + "]}").status,
              204);
    EXPECT_EQ(request(port(), "POST", "/_M_/session", "wexlor",
                      "{\"sessions\": [" + session("audio", true) + "]}").status,
              204);
    EXPECT_EQ(request(port(), "GET", "/first", "full").status, 200);
    EXPECT_EQ(request(port(), "GET", "/first", "audio").status, 403);
    EXPECT_EQ(request(port(), "GET", "/audio", "audio").status, 200);

    EXPECT_EQ(request(port(), "POST", "/_M_/delete-session", "wexlor", "{\"session\": " + session("full") + "}").status,
              204);
    EXPECT_EQ(request(port(), "GET", "/first", "full").status, 403);
    EXPECT_EQ(service->events, (std::vector<std::string>{"create:full", "create:audio", "delete:full"}));
}

TEST_F(RoutingTest, ManagementRoutesNeedTheManagementValueAndAWellFormedBody)
{
    EXPECT_EQ(request(port(), "POST", "/_M_/session", "trusted", "{\"sessions\": []}").status, 403);
    EXPECT_EQ(request(port(), "POST", "/_M_/session", "", "{\"sessions\": []}").status, 403);
    const auto malformed = request(port(), "POST", "/_M_/current-session", "wexlor", "{\"session\": 3}");
    EXPECT_EQ(malformed.status, 400);
    EXPECT_EQ(malformed.reason, "Malformed arguments");
    EXPECT_EQ(request(port(), "POST", "/_M_/session", "wexlor", "not json").status, 400);
    EXPECT_EQ(request(port(), "POST", "/_M_/system/wipe", "wexlor").status, 204);
    EXPECT_EQ(request(port(), "POST", "/_M_/system/backup", "wexlor", "{\"path\": \"/opt/tmp/b\"}").status, 204);
    EXPECT_EQ(request(port(), "POST", "/_M_/current-session", "wexlor", "{\"session\": " + session("s") + "}").status,
              204);
    EXPECT_EQ(service->events, (std::vector<std::string>{"wipe", "backup:/opt/tmp/b", "select:s"}));
}

TEST_F(RoutingTest, HealthIsServedToManagementAndTrustedCallersOnly)
{
    const auto health = request(port(), "GET", "/_M_/health", "trusted");
    EXPECT_EQ(health.status, 200);
    EXPECT_EQ(health.body, "{\"ok\": true}");
    EXPECT_EQ(request(port(), "GET", "/_M_/health", "wexlor").status, 200);
    EXPECT_EQ(request(port(), "GET", "/_M_/health").status, 403);
}

TEST_F(RoutingTest, ConfiguredTokenCannotBeDowngradedByAnAnnouncement)
{
    request(port(), "POST", "/_M_/session", "wexlor", "{\"sessions\": [" + session("trusted", true) + "]}");
    EXPECT_EQ(request(port(), "GET", "/first", "trusted").status, 200);
}
