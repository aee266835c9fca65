#include "FrameworkTestSupport.h"

#include "pemo/Authentication.h"
#include "pemo/Port.h"

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/WebSocket.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

using namespace pemo;
using Poco::Net::WebSocket;
using pemo::test::request;
using pemo::test::eventually;
using pemo::test::TestService;

namespace {

constexpr std::size_t MAX_FRAME = 16384;
constexpr int TEXT = WebSocket::FRAME_FLAG_FIN | WebSocket::FRAME_OP_TEXT;

std::unique_ptr<WebSocket> connect(unsigned port, const std::string& path, const std::string& token = "trusted")
{
    Poco::Net::HTTPClientSession session("127.0.0.1", static_cast<Poco::UInt16>(port));
    Poco::Net::HTTPRequest req(Poco::Net::HTTPRequest::HTTP_GET, path, Poco::Net::HTTPMessage::HTTP_1_1);
    if (!token.empty())
        req.set(HTTP_HEADER_AUTHENTICATION, token);
    Poco::Net::HTTPResponse response;
    auto socket = std::make_unique<WebSocket>(session, req, response);
    socket->setReceiveTimeout(Poco::Timespan(5, 0));
    return socket;
}

std::string receive(WebSocket& socket, int* flagsOut = nullptr)
{
    std::string buffer(MAX_FRAME + 16, '\0');
    int flags = 0;
    const int n = socket.receiveFrame(&buffer[0], static_cast<int>(buffer.size()), flags);
    if (flagsOut)
        *flagsOut = flags;
    return buffer.substr(0, n);
}

class PortTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        service = std::make_unique<TestService>([this](TestService& s) {
            port = std::make_unique<Port>(s.socketReactor(), MAX_FRAME);
            s.registerPort("^/events/?$", *port);
        });
        service->startAll();
    }

    void TearDown() override
    {
        service->stopAll();
        port.reset();
        service.reset();
    }

    std::unique_ptr<Port> port;
    std::unique_ptr<TestService> service;
};

} // namespace

TEST_F(PortTest, EverySubscriberGetsEachFrameOnceInOrderUpToTheClose)
{
    auto a = connect(service->port(), "/events");
    auto b = connect(service->port(), "/events/");
    ASSERT_TRUE(eventually([&] { return port->subscriberCount() == 2; }));

    EXPECT_EQ(port->broadcastFrame(std::string("one"), TEXT), 2u);
    const std::string two = "two";
    EXPECT_EQ(port->sendFrame(two.data(), static_cast<int>(two.size()), TEXT), 2u);

    for (auto* socket : {a.get(), b.get()})
    {
        int flags = 0;
        EXPECT_EQ(receive(*socket, &flags), "one");
        EXPECT_EQ(flags, TEXT);
        EXPECT_EQ(receive(*socket), "two");
    }

    // What was broadcast before the port closes still goes out.
    for (int i = 0; i < 100; ++i)
        port->broadcastFrame(std::to_string(i), TEXT);
    port->close();
    for (auto* socket : {a.get(), b.get()})
        for (int i = 0; i < 100; ++i)
            ASSERT_EQ(receive(*socket), std::to_string(i));
}

TEST_F(PortTest, FrameSizeLimitIsTheConstructionArgumentAndPingIsAnsweredWithPong)
{
    auto a = connect(service->port(), "/events");
    ASSERT_TRUE(eventually([&] { return port->subscriberCount() == 1; }));
    const std::string largest(MAX_FRAME, 'x');
    EXPECT_EQ(port->broadcastFrame(largest, TEXT), 1u);
    EXPECT_EQ(receive(*a), largest);
    EXPECT_THROW(port->broadcastFrame(std::string(MAX_FRAME + 1, 'x'), TEXT), Poco::InvalidArgumentException);

    a->sendFrame("hi", 2, WebSocket::FRAME_FLAG_FIN | WebSocket::FRAME_OP_PING);
    int flags = 0;
    EXPECT_EQ(receive(*a, &flags), "hi");
    EXPECT_EQ(flags & WebSocket::FRAME_OP_BITMASK, WebSocket::FRAME_OP_PONG);
}

TEST_F(PortTest, SubscribersNeedFullPermissionsAndAnUpgrade)
{
    EXPECT_THROW(connect(service->port(), "/events", ""), Poco::Net::WebSocketException);
    EXPECT_THROW(connect(service->port(), "/events", "guess"), Poco::Net::WebSocketException);
    EXPECT_EQ(request(service->port(), "GET", "/events", "trusted").status, 400);
    EXPECT_EQ(port->subscriberCount(), 0u);
}

TEST_F(PortTest, ClosedSubscriberIsDroppedAndOthersStillServed)
{
    auto a = connect(service->port(), "/events");
    auto b = connect(service->port(), "/events");
    ASSERT_TRUE(eventually([&] { return port->subscriberCount() == 2; }));
    a->shutdown();
    a->close();
    ASSERT_TRUE(eventually([&] { return port->subscriberCount() == 1; }));
    port->broadcastFrame(std::string("after"), TEXT);
    EXPECT_EQ(receive(*b), "after");
}

// A subscriber that never reads must not hold up the broadcaster or the
// other subscribers; it only fills its own queue until it is cut off.
TEST_F(PortTest, StalledSubscriberDoesNotBlockBroadcastAndIsCutOff)
{
    auto stalled = connect(service->port(), "/events");
    auto reader = connect(service->port(), "/events");
    ASSERT_TRUE(eventually([&] { return port->subscriberCount() == 2; }));
    const std::string frame(8000, 'y');
    std::atomic<int> received{0};
    std::thread readerThread([&] {
        try
        {
            while (receive(*reader).size() == frame.size())
                ++received;
        }
        catch (const Poco::Exception&)
        {
            // Closed at the end of the test.
        }
    });
    const int burst = 500;
    for (int round = 1; round <= 6; ++round)
    {
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < burst; ++i)
            port->broadcastFrame(frame, TEXT);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
        ASSERT_TRUE(eventually([&] { return received == round * burst; })) << "round " << round;
    }
    EXPECT_TRUE(eventually([&] { return port->subscriberCount() == 1; }));
    reader->shutdown();
    readerThread.join();
}

// Subscribers live on the reactor, so many of them leave the HTTP server's
// few worker threads (four here) free for requests.
TEST_F(PortTest, ManySubscribersDoNotStarveTheApi)
{
    std::vector<std::unique_ptr<WebSocket>> subscribers;
    for (int i = 0; i < 100; ++i)
        subscribers.push_back(connect(service->port(), "/events"));
    ASSERT_TRUE(eventually([&] { return port->subscriberCount() == 100; }));
    EXPECT_EQ(request(service->port(), "GET", "/_M_/health", "trusted").status, 200);
    port->broadcastFrame(std::string("all"), TEXT);
    for (auto& socket : subscribers)
        EXPECT_EQ(receive(*socket), "all");
}
