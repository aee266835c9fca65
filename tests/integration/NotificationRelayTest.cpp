// System notifications end to end: bodies POSTed to /system_notify reach
// every WebSocket subscriber of /system_notifications byte for byte, within
// the size limit.
#include "SkillDevice.h"

#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <string>

namespace pemo::test {
namespace {

const Poco::Timespan FRAME_WAIT(5, 0);
const Poco::Timespan NOTHING_WAIT(0, 700000);

class NotificationRelayTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        first = subscribe(skillDevice());
        second = subscribe(skillDevice());
        ASSERT_TRUE(first && second);
    }

    // Posts body and checks that both subscribers receive exactly it.
    void expectRelayed(const std::string& body)
    {
        const HttpResponse r = skillApi().post("/system_notify", body);
        ASSERT_EQ(r.status, 204) << r.reason;
        EXPECT_TRUE(r.body.empty());
        for (auto* subscriber : {first.get(), second.get()})
        {
            const auto frame = subscriber->receive(FRAME_WAIT);
            ASSERT_TRUE(frame) << "no frame for a " << body.size() << "-byte notification";
            EXPECT_EQ(*frame, body);
        }
    }

    std::unique_ptr<WebSocketSubscriber> first;
    std::unique_ptr<WebSocketSubscriber> second;
};

// Byte for byte and unredacted, JSON or not (what goes to the log instead is
// pinned by the notifier's unit tests), up to 16 KB.
TEST_F(NotificationRelayTest, BodiesAreRelayedUntouchedUpToSixteenKilobytes)
{
    expectRelayed("{ \"type\" : \"Probe\",\n \"data\": {\"secret\": \"hunter2\"}, \"n\": 1 }");
    expectRelayed("plain text, not JSON: {");
    std::string body = "{\"data\":\"" + std::string(16384 - 12, 'x') + "\"}";
    body.insert(body.size() - 2, 1, 'y');
    ASSERT_EQ(body.size(), 16384u);
    expectRelayed(body);

    body.insert(body.size() - 2, 1, 'z');
    const HttpResponse r = skillApi().post("/system_notify", body);
    EXPECT_EQ(r.status, 400);
    EXPECT_EQ(r.reason, "Bad Request");
    EXPECT_EQ(r.header("Content-Length"), "0");
    EXPECT_FALSE(first->receive(NOTHING_WAIT));
    EXPECT_EQ(logLines("SystemNotifyHandler::post drop 16385-byte message").size(), 1u);
}

// A skill's start and exit reach subscribers in the common envelope.
TEST_F(NotificationRelayTest, SkillStartAndExitArePublished)
{
    ASSERT_EQ(skillApi().post("/skill/launch", R"({"name":"probe","context":"exit 9"})").status, 204);

    const std::regex envelope(R"(\{
    "type": "SkillNotification",
    "channel": "SKILL",
    "ts": \[
        [0-9]+,
        [0-9]+
    \],
    "data": \{
        "skill": "probe",
        "reason": ([01]),
        "code": ([0-9]+)
    \}
\})");
    for (const char* expected : {"0/0", "1/9"})
    {
        const auto frame = first->receive(FRAME_WAIT);
        ASSERT_TRUE(frame) << "no notification " << expected;
        std::smatch match;
        ASSERT_TRUE(std::regex_match(*frame, match, envelope)) << *frame;
        EXPECT_EQ(match[1].str() + "/" + match[2].str(), expected);
    }
}

} // namespace
} // namespace pemo::test
