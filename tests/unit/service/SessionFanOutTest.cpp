#include "FakeServices.h"

#include "service/ServiceManager.h"
#include "session/SessionManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

namespace pemo {
namespace system {
namespace {

using test::RecordingService;

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
    SessionFanOutTest()
        : _registryClient("127.0.0.1", _registry.port()),
          _services(std::make_shared<ServiceManager>(test::jsonConfig(R"({"connection_timeout": 500})"),
                                                     _registryClient))
    {
    }

    std::shared_ptr<pemo::Session> session() const
    {
        return std::make_shared<pemo::Session>("tok-1", pemo::Permissions(false));
    }

    RecordingService _registry;
    pemo::ServiceRegistryClient _registryClient;
    std::shared_ptr<ServiceManager> _services;
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

TEST_F(SessionFanOutTest, SelectAndDeleteSendTheSingleSessionMember)
{
    ASSERT_TRUE(_services->selectSession(session()));
    ASSERT_TRUE(_services->deleteSession(session()));

    const auto requests = _registry.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].path, "/_M_/current-session");
    EXPECT_EQ(requests[1].path, "/_M_/delete-session");
    const std::string expected = R"({
    "session": {
        "token": "tok-1",
        "permissions": {
            "recordVideo": false,
            "recordAudio": false,
            "takePhoto": false,
            "firePhotonTorpedos": false
        }
    }
})";
    for (const auto& request : requests)
        EXPECT_EQ(request.body, expected) << request.path;
}

TEST_F(SessionFanOutTest, ServicesSharingAnAddressGetOneRequest)
{
    RecordingService shared;
    RecordingService alone;
    _registry.setRecords({test::recordAt("one", shared.port()), test::recordAt("two", shared.port()),
                          test::recordAt("three", alone.port())});

    ASSERT_TRUE(_services->createSession(session()));
    EXPECT_EQ(shared.requests().size(), 1u);
    EXPECT_EQ(alone.requests().size(), 1u);
    EXPECT_EQ(_registry.requests().size(), 1u);
}

TEST_F(SessionFanOutTest, AnAddressThatNeverAnswersIsGivenUpWhileTheOthersAreStillTold)
{
    RecordingService silent(true);
    RecordingService healthy;
    _registry.setRecords({test::recordAt("silent", silent.port()), test::recordAt("healthy", healthy.port())});
    test::LogCapture log("SystemManager.ServiceManager");

    const auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(_services->createSession(session()));
    const auto took = std::chrono::steady_clock::now() - before;

    EXPECT_EQ(healthy.requests().size(), 1u);
    EXPECT_EQ(_registry.requests().size(), 1u);
    EXPECT_TRUE(log.contains("ServiceManager::createSession Error receiving response from 127.0.0.1:" +
                             std::to_string(silent.port())));
    EXPECT_LT(took, std::chrono::milliseconds(2000)) << "the 500 ms time-out bounds the wait";
}

TEST_F(SessionFanOutTest, AnUnreachableRegistryIsLoggedAndReportedAsNotTold)
{
    pemo::ServiceRegistryClient nowhere("127.0.0.1", 1);
    ServiceManager services(test::jsonConfig(R"({"connection_timeout": 500})"), nowhere);
    test::LogCapture log("SystemManager.ServiceManager");

    EXPECT_FALSE(services.createSession(session()));
    EXPECT_TRUE(log.contains("ServiceManager::createSession ServiceRegistry connection error: "));
    EXPECT_TRUE(log.contains("ServiceManager::createSession Error sending request to 127.0.0.1:1"));
}

class SessionManagerTest : public SessionFanOutTest
{
protected:
    SessionManager _sessions{nullptr, _services};
};

TEST_F(SessionManagerTest, NewSessionsHaveDistinctTokensNoPermissionsAndAreListedInTokenOrder)
{
    const auto a = _sessions.createSession();
    const auto b = _sessions.createSession();

    EXPECT_NE(a->token, b->token);
    EXPECT_EQ(a->permissions, pemo::Permissions(false));
    auto expected = std::vector<std::string>{a->token, b->token};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(_sessions.getSessions(), expected);
    EXPECT_EQ(_registry.requests().size(), 2u);
}

TEST_F(SessionManagerTest, DeletingTheCurrentSessionLeavesNoCurrentSession)
{
    const auto session = _sessions.createSession();
    ASSERT_TRUE(_sessions.setCurrentSession(session->token));
    EXPECT_EQ(_sessions.getCurrentSession(), session);

    ASSERT_TRUE(_sessions.deleteSession(session->token));
    try
    {
        _sessions.getCurrentSession();
        FAIL() << "expected SessionManagerException";
    }
    catch (const SessionManagerException& e)
    {
        EXPECT_EQ(std::string(e.what()), "No session found: " + session->token);
    }
}

TEST_F(SessionManagerTest, UnknownTokensThrowAndLeaveTheCurrentSession)
{
    const auto session = _sessions.createSession();
    ASSERT_TRUE(_sessions.setCurrentSession(session->token));

    EXPECT_THROW(_sessions.setCurrentSession("unknown"), SessionManagerException);
    EXPECT_THROW(_sessions.deleteSession("unknown"), SessionManagerException);
    EXPECT_THROW(_sessions.getSession("unknown"), SessionManagerException);
    EXPECT_EQ(_sessions.getCurrentSession(), session);
}

TEST_F(SessionManagerTest, AFailedFanOutStillSelectsAndDeletes)
{
    const auto session = _sessions.createSession();
    RecordingService silent(true);
    _registry.setRecords({test::recordAt("silent", silent.port())});

    EXPECT_FALSE(_sessions.setCurrentSession(session->token));
    EXPECT_EQ(_sessions.getCurrentSession(), session);
    EXPECT_FALSE(_sessions.deleteSession(session->token));
    EXPECT_TRUE(_sessions.getSessions().empty());
}

} // namespace
} // namespace system
} // namespace pemo
