#include "Eventually.h"
#include "FakeHTTP.h"
#include "LogCapture.h"

#include "notification/SystemNotifier.h"
#include "notification/SystemNotifyHandler.h"

#include <Poco/Net/SocketReactor.h>
#include <Poco/Thread.h>
#include <Poco/Timespan.h>
#include <Poco/Timestamp.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

using pemo::system::SystemNotifier;

namespace {

class SystemNotifierTest : public ::testing::Test
{
protected:
    SystemNotifierTest() : port(reactor, 16384), notifier(port) {}

    ~SystemNotifierTest() override { notifier.stop(); }

    // Due an hour from now: the worker leaves it in the queue.
    static Poco::Timestamp later() { return Poco::Timestamp() + Poco::Timespan(3600, 0); }

    Poco::Net::SocketReactor reactor;
    pemo::Port port;
    SystemNotifier notifier;
    pemo::test::LogCapture log{"SystemManager.SystemNotifier"};
};

} // namespace

TEST_F(SystemNotifierTest, RefusesBeforeStartAndAfterStopButSendsWhatIsDueFirst)
{
    EXPECT_FALSE(notifier.notify("{}"));
    EXPECT_EQ(0u, notifier.queued());

    notifier.start();
    // Once the worker waits, three fall due together while it stops.
    Poco::Thread::sleep(200);
    EXPECT_TRUE(notifier.notify("{}", later()));
    const Poco::Timestamp whileStopping = Poco::Timestamp() + Poco::Timespan(0, 300000);
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(notifier.notify("{}", whileStopping));
    notifier.stop();
    EXPECT_FALSE(notifier.notify("{}"));
    // Only what is due later stays queued, unsent.
    EXPECT_EQ(1u, notifier.queued());
    EXPECT_EQ(2u, log.containing("due to exit").size());
}

TEST_F(SystemNotifierTest, AcceptsWhileAtMostOneHundredWait)
{
    notifier.start();
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(notifier.notify("{}", later())) << "message " << i;
    EXPECT_TRUE(notifier.notify("{}", later()));
    EXPECT_EQ(101u, notifier.queued());
    EXPECT_FALSE(notifier.notify("{\"n\":102}", later()));
    EXPECT_EQ(101u, notifier.queued());

    const auto refused = log.containing("not sending");
    ASSERT_EQ(1u, refused.size());
    EXPECT_EQ("SystemNotifier::notify not sending '{\"n\":102}' due to queue size 101", refused[0]);
}

TEST_F(SystemNotifierTest, LogsOnlyARedactedCopy)
{
    notifier.start();
    ASSERT_TRUE(notifier.notify(R"({"type":"T","data":{"secret":"s3cr3t"}})", later()));
    ASSERT_TRUE(notifier.notify(R"({"type":"U"})", later()));
    ASSERT_TRUE(notifier.notify("not json at all", later()));

    const auto enqueued = log.containing("SystemNotifier::notify enqueue");
    ASSERT_EQ(3u, enqueued.size());
    EXPECT_EQ(R"(SystemNotifier::notify enqueue '{"type":"T","data":"**REDACTED**"}')", enqueued[0]);
    EXPECT_EQ(R"(SystemNotifier::notify enqueue '{"type":"U","data":"**REDACTED**"}')", enqueued[1]);
    EXPECT_EQ("SystemNotifier::notify enqueue 'not json at all'", enqueued[2]);
    for (const auto& line : log.messages())
        EXPECT_EQ(std::string::npos, line.find("s3cr3t")) << line;

    // The error line comes first, then the message as received.
    const auto lines = log.messages();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(0u, lines[lines.size() - 2].find("SystemNotifier::notify error redacting message: "));
    EXPECT_EQ(enqueued[2], lines.back());
}

TEST_F(SystemNotifierTest, SendsWhatIsDueAndSurvivesAnOversizedMessage)
{
    notifier.start();
    ASSERT_TRUE(notifier.notify(std::string(20000, 'x')));
    ASSERT_TRUE(notifier.notify("{}"));
    EXPECT_TRUE(pemo::test::eventually([&] { return notifier.queued() == 0; }));
    EXPECT_EQ(1u, log.containing("could not send notification of 20000 bytes").size());
    EXPECT_EQ(1u, log.containing("SystemNotifier::Worker send notification '{}'").size());
}

// The endpoint's answers: 503 whenever the notifier refuses, 400 for a body
// the port could never send, else 204.
TEST(SystemNotifyHandlerTest, AnswersByWhatTheNotifierDid)
{
    Poco::Net::SocketReactor reactor;
    pemo::Port port(reactor, 16384);
    auto notifier = std::make_shared<SystemNotifier>(port);
    pemo::system::SystemNotifyHandler handler(notifier);
    const auto post = [&](const std::string& body) {
        const auto answer = pemo::system::test::call(handler, "POST", body);
        EXPECT_EQ("", answer.body);
        return answer.status;
    };

    EXPECT_EQ(Poco::Net::HTTPResponse::HTTP_SERVICE_UNAVAILABLE, post("{}"));
    notifier->start();
    EXPECT_EQ(Poco::Net::HTTPResponse::HTTP_BAD_REQUEST, post(std::string(16385, 'x')));
    EXPECT_EQ(0u, notifier->queued());
    EXPECT_EQ(Poco::Net::HTTPResponse::HTTP_NO_CONTENT, post(std::string(16384, 'x')));
    notifier->stop();
    EXPECT_EQ(Poco::Net::HTTPResponse::HTTP_SERVICE_UNAVAILABLE, post("{}"));
}
