// The route expressions of the system manager, over real HTTP through the
// simulator: they accept and refuse exactly the paths they should (that each
// route's own paths reach its handler is checked by the bad-input survey).
#include "RouteCases.h"
#include "SharedDevice.h"

#include <gtest/gtest.h>

#include <sstream>

namespace pemo::test {
namespace {

const Poco::Timespan RAW_TIMEOUT(10, 0);

std::string statusLine(const std::string& answer)
{
    return answer.substr(0, answer.find("\r\n"));
}

// A POST written by hand, so that nothing between the test and the daemon
// tidies it up; the daemon is asked to close the connection once it answers.
std::string rawPost(const std::string& path, const std::string& framing, const std::string& body)
{
    return "POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\nPemo-Authenticate: " +
           sharedDevice().token() + "\r\n" + framing + "\r\n\r\n" + body;
}

std::string nested(std::size_t levels)
{
    return std::string(levels, '[') + std::string(levels, ']');
}

std::string describe(const HttpResponse& r)
{
    std::ostringstream out;
    out << r.status << " \"" << r.reason << "\"";
    if (!r.body.empty())
        out << " body " << r.body.substr(0, 200);
    return out.str();
}

class RoutesTest : public ::testing::Test
{
protected:
    void SetUp() override { sharedDevice(); }
    ApiClient api() const { return sharedApi(); }
    std::uint16_t port() const { return sharedDevice().port(); }
};

// The update route's optional identifier, after a slash or not, reaches
// the update handler; no other path matches anything.
TEST_F(RoutesTest, RouteExpressionsMatchExactlyTheirPaths)
{
    for (const std::string path : {"/update/abc-1.2", "/updateabc", "/update/a_b.c-9"})
    {
        const HttpResponse r = api().get(path);
        EXPECT_TRUE(updateGetAccepts(r)) << "GET " << path << " answered " << describe(r);
    }
    for (const std::string path : {"/service/list/x", "/service/listx", "/time/zone/", "/time/zo",
                                    "/update/a/b", "/update/abc!", "/update//", "/SERVICE/LIST", "/mode/x",
                                    "/", "/modes", "/system_notificationsx", "/logs/upload/now"})
    {
        const HttpResponse r = api().get(path);
        EXPECT_EQ(r.status, 404) << "GET " << path << " answered " << describe(r);
    }
}

// Handlers put caller text in reason phrases ("Unknown skill: " + name); a
// CR LF there must not end the status line and start a header of the
// caller's choosing.
TEST_F(RoutesTest, CallerTextCannotSplitTheResponseHead)
{
    const std::string body = R"({"name":"a\r\nX-Injected: yes","context":""})";
    const std::string framing = "Content-Length: " + std::to_string(body.size());
    const std::string answer = rawExchange(port(), rawPost("/skill/launch", framing, body), RAW_TIMEOUT);
    const std::string head = answer.substr(0, answer.find("\r\n\r\n"));
    EXPECT_EQ(statusLine(head), "HTTP/1.1 500 Unknown skill: a  X-Injected: yes") << head;
    EXPECT_EQ(head.find("\nX-Injected"), std::string::npos) << head;
}

// A recursive JSON parser takes a stack frame per level: nesting this deep
// must be refused before it reaches one, on the management routes too (the
// survey sends it to every public route).
TEST_F(RoutesTest, DeeplyNestedBodiesAreRefusedWithTheRoutesOwn400)
{
    struct Case
    {
        std::string path;
        Headers headers;
        std::string body;
        int status;
        std::string reason;
    };
    const Headers management{{"Pemo-Authenticate", "wexlor"}};
    const std::string bomb = nested(200000);
    const std::vector<Case> cases = {
        {"/_M_/session", management, bomb, 400, "Malformed arguments"},
        {"/_M_/system/backup", management, bomb, 400, "Malformed arguments"},
        // Relayed as it is: only the redacted copy for the log is parsed.
        {"/system_notify", {}, nested(8192), 204, "No Content"},
    };
    for (const auto& c : cases)
    {
        const HttpResponse r = api().request("POST", c.path, c.body, c.headers);
        EXPECT_EQ(r.status, c.status) << c.path << " answered " << describe(r);
        EXPECT_EQ(r.reason, c.reason) << c.path;
    }
}

// A declared length past the bound is refused from the head alone: the
// body is never even sent here.
TEST_F(RoutesTest, BodiesLargerThanAnyRouteNeedsAreRefusedUnread)
{
    const std::string declared =
        rawExchange(port(), rawPost("/skill/launch", "Content-Length: 20000000", ""), RAW_TIMEOUT);
    EXPECT_EQ(statusLine(declared).substr(0, 13), "HTTP/1.1 413 ") << statusLine(declared);
}

} // namespace
} // namespace pemo::test
