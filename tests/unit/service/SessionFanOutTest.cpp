#include "FakeServices.h"

#include "service/ServiceManager.h"

#include <Poco/Net/SocketAddress.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

namespace pemo {
namespace system {
namespace {

using pemo::test::RecordingService;

const std::string SESSION_OBJECT = R"({
            "token": "tok-1",
            "permissions": {
                "recordVideo": false,
                "recordAudio": false,
                "takePhoto": false,
                "firePhotonTorpedos": false
            }
        })";

// The registry is a recording service too: it is told of every change.
class SessionFanOutTest : public ::testing::Test
{
protected:
    std::shared_ptr<pemo::Session> session() const
    {
        return std::make_shared<pemo::Session>("tok-1", pemo::Permissions(false));
    }

    RecordingService _registry;
    pemo::ServiceRegistryClient _registryClient{"127.0.0.1", _registry.port()};
    std::shared_ptr<ServiceManager> _services =
        std::make_shared<ServiceManager>(pemo::test::jsonConfig(R"({"connection_timeout": 500})"), _registryClient);
};

TEST_F(SessionFanOutTest, WithNothingRegisteredOnlyTheRegistryIsToldWithTheExactRequest)
{
    ASSERT_TRUE(_services->createSession(session()));

    const auto requests = _registry.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].method, "POST");
    EXPECT_EQ(requests[0].path, "/_M_/session");
    EXPECT_EQ(requests[0].version, "HTTP/1.1");
    EXPECT_EQ(requests[0].authentication, "wexlor");
    EXPECT_EQ(requests[0].contentType, "application/json");
    EXPECT_EQ(requests[0].body, "{\n    \"sessions\": [\n        " + SESSION_OBJECT + "\n    ]\n}");
}

// Two services share the healthy address: it gets one request.
TEST_F(SessionFanOutTest, AnAddressThatNeverAnswersIsGivenUpWhileTheOthersAreToldOnceAndLoggedInOrder)
{
    RecordingService silent(true);
    RecordingService healthy;
    _registry.setRecords({pemo::test::recordAt("silent", silent.port()),
                          pemo::test::recordAt("healthy", healthy.port()),
                          pemo::test::recordAt("healthy-too", healthy.port())});
    pemo::test::LogCapture log("SystemManager.ServiceManager");

    const auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(_services->createSession(session()));
    const auto took = std::chrono::steady_clock::now() - before;

    EXPECT_EQ(healthy.requests().size(), 1u);
    EXPECT_EQ(_registry.requests().size(), 1u);
    EXPECT_TRUE(log.contains("ServiceManager::createSession Error receiving response from 127.0.0.1:" +
                             std::to_string(silent.port())));
    EXPECT_LT(took, std::chrono::milliseconds(2000)) << "the 500 ms time-out bounds the wait";

    // All were sent before any answer was read, yet each address's lines
    // come together, in address order.
    const auto lines = log.containing("ServiceManager::createSession ");
    ASSERT_EQ(lines.size(), 6u);
    Poco::Net::SocketAddress previous;
    for (std::size_t i = 0; i < lines.size(); i += 2)
    {
        const std::string sending = "sending request to ";
        const auto at = lines[i].find(sending);
        ASSERT_NE(at, std::string::npos) << lines[i];
        const Poco::Net::SocketAddress where(lines[i].substr(at + sending.size()));
        EXPECT_NE(lines[i + 1].find(where.toString()), std::string::npos) << lines[i + 1];
        EXPECT_TRUE(i == 0 || previous < where) << where.toString();
        previous = where;
    }
}

TEST_F(SessionFanOutTest, AnUnreachableRegistryIsLoggedAndReportedAsNotTold)
{
    pemo::ServiceRegistryClient nowhere("127.0.0.1", 1);
    ServiceManager services(pemo::test::jsonConfig(R"({"connection_timeout": 500})"), nowhere);
    pemo::test::LogCapture log("SystemManager.ServiceManager");

    EXPECT_FALSE(services.createSession(session()));
    EXPECT_TRUE(log.contains("ServiceManager::createSession ServiceRegistry connection error: "));
    EXPECT_TRUE(log.contains("ServiceManager::createSession Error sending request to 127.0.0.1:1"));
}

} // namespace
} // namespace system
} // namespace pemo
