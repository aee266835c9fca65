#include "FrameworkTestSupport.h"

#include "pemo/Authentication.h"
#include "pemo/BodyReader.h"
#include "pemo/HTTPExchange.h"

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/StreamCopier.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <memory>
#include <vector>

#include <mutex>

using namespace pemo;
using pemo::test::Reply;
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

/// Answers 200 with the body as it read it.
class BodyHandler : public HTTPRequestHandler
{
public:
    bool allows(const Permissions&) const override { return true; }

    void post(Request& request, Response& response, const Captures&, SessionPtr) override
    {
        const std::string body = BodyReader::read(request.stream());
        response.sendBuffer(body.data(), body.size());
    }
};

// Every case runs twice: over a connection, and as a request of this very
// process, which the service serves in-process and must answer alike.
class RoutingTest : public ::testing::TestWithParam<bool>
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

    Reply call(const std::string& method, const std::string& path, const std::string& token = "",
               const std::string& body = "") const
    {
        if (!GetParam())
            return test::request(service->port(), method, path, token, body);
        Poco::Net::HTTPRequest request(method, path, Poco::Net::HTTPMessage::HTTP_1_1);
        if (!token.empty())
            request.set(HTTP_HEADER_AUTHENTICATION, token);
        const auto answer = HTTPExchange::perform(Poco::Net::SocketAddress("127.0.0.1", service->port()), request,
                                                  body, Poco::Timespan(5, 0));
        return Reply{answer.status, answer.reason, answer.body};
    }

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

TEST_P(RoutingTest, FirstMatchingExpressionInRegistrationOrderWins)
{
    EXPECT_EQ(call("GET", "/first", "trusted").body, "first");
    EXPECT_EQ(call("GET", "/first/", "trusted").body, "first");
    EXPECT_EQ(call("GET", "/firstx", "trusted").body, "shadowed");
}

TEST_P(RoutingTest, CaptureGroupsReachTheHandler)
{
    EXPECT_EQ(call("GET", "/update/abc-1.2", "trusted").body, "update|abc-1.2");
    EXPECT_EQ(call("GET", "/updateabc", "trusted").body, "update|abc");
    EXPECT_EQ(call("GET", "/update/", "trusted").body.substr(0, 6), "update");
    // The query string is not part of the path that is matched.
    EXPECT_EQ(call("GET", "/update/x?y=1", "trusted").body, "update|x");
}

TEST_P(RoutingTest, UnmatchedPathIs404WhateverTheCaller)
{
    EXPECT_EQ(call("GET", "/nothing", "trusted").status, 404);
    EXPECT_EQ(call("GET", "/nothing").status, 404);
    EXPECT_EQ(call("GET", "/getonly/x", "trusted").status, 404);
}

TEST_P(RoutingTest, CallersWithoutTrustedTokenAreRefused)
{
    EXPECT_EQ(call("GET", "/first").status, 403);
    EXPECT_EQ(call("GET", "/first", "guess").status, 403);
    EXPECT_EQ(call("POST", "/update/a", "").status, 403);
    EXPECT_EQ(call("GET", "/first", "trusted").status, 200);
    EXPECT_EQ(first.lastToken(), "trusted");
}

TEST_P(RoutingTest, MethodTheHandlerDoesNotServeIs405)
{
    EXPECT_EQ(call("POST", "/getonly", "trusted").status, 405);
    EXPECT_EQ(call("PUT", "/first", "trusted").status, 405);
    EXPECT_EQ(call("DELETE", "/first", "trusted").status, 405);
    EXPECT_EQ(call("GET", "/getonly", "trusted").status, 200);
}

// The configured token cannot be downgraded by an announcement.
TEST_P(RoutingTest, AnnouncedSessionsAuthenticateWithTheirOwnPermissions)
{
    EXPECT_EQ(call("POST", "/_M_/session", "wexlor", "{\"sessions\": [" + session("full") + "]}").status,
              204);
    EXPECT_EQ(call("POST", "/_M_/session", "wexlor",
                      "{\"sessions\": [" + session("audio", true) + ", " + session("trusted", true) + "]}").status,
              204);
    EXPECT_EQ(call("GET", "/first", "full").status, 200);
    EXPECT_EQ(call("GET", "/first", "audio").status, 403);
    EXPECT_EQ(call("GET", "/audio", "audio").status, 200);
    EXPECT_EQ(call("GET", "/first", "trusted").status, 200);

    EXPECT_EQ(call("POST", "/_M_/delete-session", "wexlor", "{\"session\": " + session("full") + "}").status,
              204);
    EXPECT_EQ(call("GET", "/first", "full").status, 403);
    EXPECT_EQ(service->events,
              (std::vector<std::string>{"create:full", "create:audio", "create:trusted", "delete:full"}));
}

TEST_P(RoutingTest, ManagementRoutesNeedTheManagementValueAndAWellFormedBody)
{
    EXPECT_EQ(call("POST", "/_M_/session", "trusted", "{\"sessions\": []}").status, 403);
    EXPECT_EQ(call("POST", "/_M_/session", "", "{\"sessions\": []}").status, 403);
    const auto malformed = call("POST", "/_M_/current-session", "wexlor", "{\"session\": 3}");
    EXPECT_EQ(malformed.status, 400);
    EXPECT_EQ(malformed.reason, "Malformed arguments");
    EXPECT_EQ(call("POST", "/_M_/session", "wexlor", "not json").status, 400);
    EXPECT_EQ(call("POST", "/_M_/system/wipe", "wexlor").status, 204);
    EXPECT_EQ(call("POST", "/_M_/system/backup", "wexlor", "{\"path\": \"/opt/tmp/b\"}").status, 204);
    EXPECT_EQ(call("POST", "/_M_/current-session", "wexlor", "{\"session\": " + session("s") + "}").status,
              204);
    EXPECT_EQ(service->events, (std::vector<std::string>{"wipe", "backup:/opt/tmp/b", "select:s"}));
}

TEST_P(RoutingTest, HealthIsServedToManagementAndTrustedCallersOnly)
{
    const auto health = call("GET", "/_M_/health", "trusted");
    EXPECT_EQ(health.status, 200);
    EXPECT_EQ(health.body, "{\"ok\": true}");
    EXPECT_EQ(call("GET", "/_M_/health", "wexlor").status, 200);
    EXPECT_EQ(call("GET", "/_M_/health").status, 403);
}

INSTANTIATE_TEST_SUITE_P(Transports, RoutingTest, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return info.param ? "InProcess" : "Connection";
                         });

TEST(RequestBodyBoundTest, BodiesPastTheConfiguredBoundNeverReachAHandlerWhole)
{
    BodyHandler handler;
    TestService service([&](TestService& s) { s.registerHandler("^/body$", &handler); },
                        {{"pemo.http.max_body", "16"}});
    service.startAll();
    const std::string bound(16, 'a');
    EXPECT_EQ(request(service.port(), "POST", "/body", "", bound).body, bound);
    EXPECT_EQ(request(service.port(), "POST", "/body", "", bound + "b").status, 413);
    EXPECT_EQ(request(service.port(), "POST", "/body", "", bound, true).body, bound);
    EXPECT_EQ(request(service.port(), "POST", "/body", "", bound + "b", true).status, 413);
}

// More idle kept-alive connections than workers: a new connection is still
// answered at once, not after a keep-alive time-out, and each idle one
// carries its next request when its client sends one. Nor does the pool
// grow for them: grown on demand, it kept each thread it added, so a
// service's thread count crept up at random moments over its life.
TEST(KeepAliveTest, IdleKeepAliveConnectionsNeitherStarveNewOnesNorAddThreads)
{
    const auto threads = [] {
        const std::filesystem::directory_iterator tasks("/proc/self/task");
        return std::distance(begin(tasks), end(tasks));
    };
    EchoHandler echo("echo");
    TestService service([&](TestService& s) { s.registerHandler("^/echo$", &echo); },
                        {{"pemo.http.threads", "3"}, {"pemo.http.header_timeout", "30"}});
    service.startAll();
    const auto before = threads();
    const auto started = std::chrono::steady_clock::now();
    const auto echoOn = [](Poco::Net::HTTPClientSession& session) {
        Poco::Net::HTTPRequest get(Poco::Net::HTTPRequest::HTTP_GET, "/echo", Poco::Net::HTTPMessage::HTTP_1_1);
        get.set(HTTP_HEADER_AUTHENTICATION, "trusted");
        session.sendRequest(get);
        Poco::Net::HTTPResponse response;
        std::string body;
        Poco::StreamCopier::copyToString(session.receiveResponse(response), body);
        return body;
    };
    std::vector<std::unique_ptr<Poco::Net::HTTPClientSession>> idle;
    for (int i = 0; i < 4; ++i)
    {
        idle.push_back(std::make_unique<Poco::Net::HTTPClientSession>("127.0.0.1", service.port()));
        idle.back()->setKeepAlive(true);
        idle.back()->setTimeout(Poco::Timespan(10, 0));
        ASSERT_EQ("echo", echoOn(*idle.back()));
    }
    EXPECT_EQ(200, request(service.port(), "GET", "/echo", "trusted").status);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(500));
    EXPECT_EQ(before, threads());
    // A client session reconnects only after its own keep-alive time-out:
    // these go out on the connections kept alive above.
    for (auto& session : idle)
        EXPECT_EQ("echo", echoOn(*session));
}
