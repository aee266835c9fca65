#include "FrameworkTestSupport.h"
#include "RegistryHandler.h"
#include "RegistryStore.h"
#include "SystemNotificationSubscription.h"

#include "pemo/Port.h"
#include "pemo/SystemNotification.h"
#include "pemo/SystemNotificationClient.h"

#include <Poco/Base64Encoder.h>
#include <Poco/Event.h>
#include <Poco/NObserver.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketReactor.h>
#include <Poco/SHA1Engine.h>
#include <Poco/StreamCopier.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <sstream>
#include <thread>
#include <vector>

using namespace pemo;
using pemo::test::eventually;
using pemo::test::TestService;

namespace {

struct ProbeData
{
    std::string skill;
    int code = 0;

    template <class Archive>
    void serialize(Archive& ar)
    {
        ar(CEREAL_NVP(skill), CEREAL_NVP(code));
    }
};

extern const char ProbeType[] = "ProbeNotification";
using Probe = SystemNotification<ProbeType, ProbeData>;

std::string write(const Probe& probe)
{
    std::ostringstream out;
    {
        cereal::JSONOutputArchive archive(out);
        probe.save(archive);
    }
    return out.str();
}

/// Stands in for the system manager's notify route: keeps each body and
/// answers with the configured status.
class NotifySink : public HTTPRequestHandler
{
public:
    bool allows(const Permissions& held) const override { return Permissions::check(Permissions(true), held); }
    void post(Request& request, Response& response, const Captures&, SessionPtr) override
    {
        std::string body;
        Poco::StreamCopier::copyToString(request.stream(), body);
        {
            std::lock_guard<std::mutex> lock(mutex);
            bodies.push_back(body);
        }
        response.setStatusAndReason(status);
        response.setContentLength(0);
        response.send();
    }

    Poco::Net::HTTPResponse::HTTPStatus status = Poco::Net::HTTPResponse::HTTP_NO_CONTENT;
    std::mutex mutex;
    std::vector<std::string> bodies;
};

/// Holds the worker that serves it until released.
class Gate : public HTTPRequestHandler
{
public:
    bool allows(const Permissions&) const override { return true; }
    void post(Request&, Response& response, const Captures&, SessionPtr) override
    {
        ++entered;
        release.wait();
        response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_NO_CONTENT);
        response.send();
    }

    std::atomic<int> entered{0};
    Poco::Event release{Poco::Event::EVENT_MANUALRESET};
};

class Listener
{
public:
    void onEvent(const Poco::AutoPtr<SystemNotificationEvent>& event)
    {
        std::lock_guard<std::mutex> lock(mutex);
        texts.push_back(event->text());
    }
    std::mutex mutex;
    std::vector<std::string> texts;
};

} // namespace

TEST(SystemNotificationTest, EnvelopeIsWrittenInOrderWithSplitSteadyTime)
{
    const Probe::TimePoint ts{std::chrono::nanoseconds(12345678901234LL)};
    const Probe probe(NotificationChannel::SKILL, ProbeData{"demo", 3}, ts);
    EXPECT_EQ(write(probe), "{\n"
                            "    \"type\": \"ProbeNotification\",\n"
                            "    \"channel\": \"SKILL\",\n"
                            "    \"ts\": [\n"
                            "        12345,\n"
                            "        678901\n"
                            "    ],\n"
                            "    \"data\": {\n"
                            "        \"skill\": \"demo\",\n"
                            "        \"code\": 3\n"
                            "    }\n"
                            "}");
}

TEST(SystemNotificationTest, ChannelOutsideTheTableAndUninitialisedNotificationsCannotBeWritten)
{
    EXPECT_EQ(to_string(NotificationChannel::POWER_MANAGEMENT), "POWER_MANAGEMENT");
    try
    {
        to_string(static_cast<NotificationChannel>(9));
        FAIL() << "no exception";
    }
    catch (const cereal::Exception& e)
    {
        EXPECT_STREQ(e.what(), "Unhandled NotificationChannel 9");
    }
    EXPECT_THROW(write(Probe()), std::logic_error);
}

class NotificationClientTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        registry = std::make_unique<TestService>(
            [this](TestService& s) { s.registerHandler("^/registry(?:/([^/]+))?/?$", &registryHandler); });
        registry->startAll();
        // Two workers, so a test can take every worker the manager has.
        manager = std::make_unique<TestService>(
            [this](TestService& s) {
                s.registerHandler("^/system_notify/?$", &sink);
                s.registerHandler("^/gate$", &gate);
                port = std::make_unique<Port>(s.socketReactor(), 16384);
                s.registerPort("^/system_notifications/?$", *port);
            },
            std::map<std::string, std::string>{{"pemo.http.threads", "2"}});
        manager->startAll();
        manager->registryClient().setAddress("127.0.0.1", registry->port());
        client = std::make_unique<SystemNotificationClient>(manager->registryClient(), manager->socketReactor());
        client->setAuthentication("trusted");
    }

    void TearDown() override
    {
        client.reset();
        manager->stopAll();
        port.reset();
    }

    void announceManager()
    {
        store.put(ServiceRecord{"system-manager", "127.0.0.1", manager->port(), "/", 30, ""});
    }

    RegistryStore store;
    RegistryHandler registryHandler{store};
    NotifySink sink;
    Gate gate;
    std::unique_ptr<Port> port;
    std::unique_ptr<TestService> registry;
    std::unique_ptr<TestService> manager;
    std::unique_ptr<SystemNotificationClient> client;
};

TEST_F(NotificationClientTest, PostIsFalseUntilTheSystemManagerIsLookedUpThenTrueExactlyOn204)
{
    const Probe probe(NotificationChannel::GENERAL, ProbeData{"x", 1});
    client->initialize();
    EXPECT_FALSE(client->postNotification(probe));
    announceManager();
    client->lookUp();
    EXPECT_TRUE(client->postNotification(probe)) << "known at once, not a tick later";
    ASSERT_EQ(sink.bodies.size(), 1u);
    EXPECT_EQ(sink.bodies[0], write(probe));

    sink.status = Poco::Net::HTTPResponse::HTTP_SERVICE_UNAVAILABLE;
    EXPECT_FALSE(client->postNotification(probe));
    EXPECT_THROW(client->postNotification(Probe()), std::logic_error);
}

// Once the record is known nothing polls the registry; a post that cannot
// reach the recorded address is what sends the client looking again, so the
// moved system manager is found at once rather than at a periodic look-up.
TEST_F(NotificationClientTest, FailedPostLooksTheSystemManagerUpAgain)
{
    Poco::UInt16 gone = 0;
    {
        Poco::Net::ServerSocket closed(Poco::Net::SocketAddress("127.0.0.1", 0));
        gone = closed.address().port();
    }
    store.put(ServiceRecord{"system-manager", "127.0.0.1", gone, "/", 30, ""});
    client->initialize();
    ASSERT_TRUE(eventually([&] { return client->systemManagerRecord().port == gone; }));
    announceManager();
    const Probe probe(NotificationChannel::GENERAL, ProbeData{"moved", 0});
    EXPECT_FALSE(client->postNotification(probe));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(eventually([&] { return client->postNotification(probe); }));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

// The system manager posts to itself from requests that hold its workers;
// the post must need none of them, nor wait for the client's own handshake
// with the manager, which does need one. Once a worker is free, observers
// receive what the port broadcasts.
TEST_F(NotificationClientTest, PostingToAServiceOfThisProcessNeedsNoneOfItsWorkersAndObserversHearThePort)
{
    Listener listener;
    client->addObserver(Poco::NObserver<Listener, SystemNotificationEvent>(listener, &Listener::onEvent));
    announceManager();
    client->lookUp();
    std::vector<std::thread> held;
    for (int i = 0; i < 2; ++i)
        held.emplace_back([this] {
            try
            {
                test::request(manager->port(), "POST", "/gate", "trusted");
            }
            catch (const Poco::Exception&)
            {
                // Held past its time-out: the post below took too long.
            }
        });
    ASSERT_TRUE(eventually([this] { return gate.entered == 2; }));
    client->initialize();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));

    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(client->postNotification(Probe(NotificationChannel::SKILL, ProbeData{"held", 0})));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(sink.bodies.size(), 1u);
    gate.release.set();
    for (auto& thread : held)
        thread.join();

    ASSERT_TRUE(eventually([&] { return port->subscriberCount() == 1; }));
    port->broadcastFrame(std::string("{\"type\": \"T\"}"), 129);
    ASSERT_TRUE(eventually([&] {
        std::lock_guard<std::mutex> lock(listener.mutex);
        return !listener.texts.empty();
    }));
    EXPECT_EQ(listener.texts.front(), "{\"type\": \"T\"}");
    client->removeObserver(Poco::NObserver<Listener, SystemNotificationEvent>(listener, &Listener::onEvent));
}

namespace {

/// Answers one WebSocket handshake and sends a text frame in the same write,
/// as a port does when it broadcasts the moment a subscriber is added.
void answerHandshakeWithAFrame(Poco::Net::ServerSocket& server, const std::string& text)
{
    Poco::Net::StreamSocket peer = server.acceptConnection();
    std::string head;
    char c = 0;
    while (head.find("\r\n\r\n") == std::string::npos && peer.receiveBytes(&c, 1) == 1)
        head += c;
    const auto at = head.find("Sec-WebSocket-Key: ") + 19;
    const std::string key = head.substr(at, head.find("\r\n", at) - at);
    Poco::SHA1Engine sha1;
    sha1.update(key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11");
    const auto digest = sha1.digest();
    std::ostringstream accept;
    {
        Poco::Base64Encoder encoder(accept);
        encoder.write(reinterpret_cast<const char*>(digest.data()), static_cast<std::streamsize>(digest.size()));
    }
    std::string answer = "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                         "Sec-WebSocket-Accept: " + accept.str() + "\r\n\r\n";
    answer += static_cast<char>(0x81);
    answer += static_cast<char>(text.size());
    answer += text;
    peer.sendBytes(answer.data(), static_cast<int>(answer.size()));
    std::this_thread::sleep_for(std::chrono::seconds(1));
}

} // namespace

// The handshake's reader took the first frame along with the answer, out of
// the reactor's sight: it waited for the next frame, which might never come.
TEST(SystemNotificationSubscriptionTest, FrameArrivingWithTheHandshakeAnswerIsDelivered)
{
    Poco::Net::ServerSocket server(Poco::Net::SocketAddress("127.0.0.1", 0));
    std::thread peer(answerHandshakeWithAFrame, std::ref(server), "{\"type\": \"early\"}");
    Poco::Net::SocketReactor reactor(Poco::Timespan(0, 50000));
    Poco::Thread reactorThread;
    reactorThread.start(reactor);
    Poco::NotificationCenter center;
    Listener listener;
    center.addObserver(Poco::NObserver<Listener, SystemNotificationEvent>(listener, &Listener::onEvent));
    {
        SystemNotificationSubscription subscription("127.0.0.1", server.address().port(), "/", "t", reactor, center);
        EXPECT_TRUE(eventually([&] {
            std::lock_guard<std::mutex> lock(listener.mutex);
            return !listener.texts.empty();
        }, std::chrono::milliseconds(800)));
        peer.join();
    }
    reactor.stop();
    reactorThread.join();
    center.removeObserver(Poco::NObserver<Listener, SystemNotificationEvent>(listener, &Listener::onEvent));
    std::lock_guard<std::mutex> lock(listener.mutex);
    ASSERT_EQ(listener.texts.size(), 1u);
    EXPECT_EQ(listener.texts.front(), "{\"type\": \"early\"}");
}
