#include "FrameworkTestSupport.h"
#include "HTTPServer.h"

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/StreamCopier.h>
#include <Poco/ThreadPool.h>

#include <gtest/gtest.h>

#include <chrono>
#include <string>

using namespace pemo;

namespace {

std::string get(Poco::Net::HTTPClientSession& session)
{
    Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_GET, "/", Poco::Net::HTTPMessage::HTTP_1_1);
    request.setKeepAlive(true);
    session.sendRequest(request);
    Poco::Net::HTTPResponse response;
    std::string body;
    Poco::StreamCopier::copyToString(session.receiveResponse(response), body);
    return body;
}

} // namespace

// The only worker waited out its whole grace for a kept-alive client that
// had nothing more to send, while a fresh request found no worker free.
TEST(HTTPServerTest, WorkerWaitingForAKeptAliveClientGivesWayToAWaitingRequest)
{
    Poco::ThreadPool pool(1, 1);
    Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", 0));
    HTTPServer::Settings settings;
    settings.workers = 1;
    settings.keepAliveGrace = std::chrono::seconds(3);
    HTTPServer server(new test::FixedAnswerFactory("ok"), pool, socket, settings);
    server.start();

    Poco::Net::HTTPClientSession kept("127.0.0.1", socket.address().port());
    kept.setKeepAlive(true);
    kept.setTimeout(Poco::Timespan(10, 0));
    ASSERT_EQ("ok", get(kept));
    const auto started = std::chrono::steady_clock::now();
    Poco::Net::HTTPClientSession fresh("127.0.0.1", socket.address().port());
    fresh.setTimeout(Poco::Timespan(10, 0));
    EXPECT_EQ("ok", get(fresh));
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(1));
    // The kept-alive connection went back to the waiting thread, and serves on.
    EXPECT_EQ("ok", get(kept));

    server.stopAll(true);
    pool.joinAll();
}
