// Two speeds of the notification hub and the skill catalogue, printed as
// ratios against a reference measured in the same run (never asserted):
//  - a notification POSTed to /system_notify until its frame reaches a
//    subscriber, 1000 messages with 10 subscribers, against a plain loopback
//    WebSocket echo round trip of the same frame;
//  - /skill/list with 1000 installed skills against `find` listing their
//    package.json files.
#include "BenchStats.h"
#include "FrameworkTestSupport.h"

#include "skill/SkillListHandler.h"
#include "skill/SkillManager.h"
#include "notification/SystemNotifier.h"
#include "notification/SystemNotifyHandler.h"

#include <pemo/Authentication.h>
#include <pemo/Port.h>
#include <pemo/SystemNotificationClient.h>

#include <Poco/File.h>
#include <Poco/FileStream.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/WebSocket.h>
#include <Poco/NullStream.h>
#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>
#include <Poco/StreamCopier.h>
#include <Poco/TemporaryFile.h>
#include <Poco/Util/MapConfiguration.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace pemo;
using Clock = std::chrono::steady_clock;

namespace {

using pemo::bench::percentile;
using pemo::bench::millisecondsSince;

const int MESSAGES = 1000;
const int SUBSCRIBERS = 10;
const int SKILLS = 1000;
const int LIST_RUNS = 30;

// The reference: a WebSocket server that sends every frame straight back.
class EchoHandler : public Poco::Net::HTTPRequestHandler
{
public:
    void handleRequest(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response) override
    {
        Poco::Net::WebSocket socket(request, response);
        std::vector<char> buffer(65536);
        int flags = 0;
        int n = 0;
        while ((n = socket.receiveFrame(buffer.data(), static_cast<int>(buffer.size()), flags)) > 0 &&
               (flags & Poco::Net::WebSocket::FRAME_OP_BITMASK) != Poco::Net::WebSocket::FRAME_OP_CLOSE)
            socket.sendFrame(buffer.data(), n, flags);
    }
};

class EchoFactory : public Poco::Net::HTTPRequestHandlerFactory
{
public:
    Poco::Net::HTTPRequestHandler* createRequestHandler(const Poco::Net::HTTPServerRequest&) override
    {
        return new EchoHandler;
    }
};

std::unique_ptr<Poco::Net::WebSocket> connect(Poco::Net::HTTPClientSession& session, const std::string& path)
{
    Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_GET, path, Poco::Net::HTTPMessage::HTTP_1_1);
    request.set(HTTP_HEADER_AUTHENTICATION, "trusted");
    Poco::Net::HTTPResponse response;
    auto socket = std::make_unique<Poco::Net::WebSocket>(session, request, response);
    socket->setReceiveTimeout(Poco::Timespan(10, 0));
    return socket;
}

int receive(Poco::Net::WebSocket& socket, std::vector<char>& buffer)
{
    int flags = 0;
    return socket.receiveFrame(buffer.data(), static_cast<int>(buffer.size()), flags);
}

std::vector<double> echoRoundTrips(const std::string& message)
{
    Poco::Net::ServerSocket listener(Poco::Net::SocketAddress("127.0.0.1", 0));
    Poco::Net::HTTPServer server(new EchoFactory, listener, new Poco::Net::HTTPServerParams);
    server.start();
    Poco::Net::HTTPClientSession session("127.0.0.1", listener.address().port());
    auto socket = connect(session, "/echo");
    std::vector<char> buffer(65536);
    std::vector<double> times;
    for (int i = 0; i < MESSAGES; ++i)
    {
        const auto start = Clock::now();
        socket->sendFrame(message.data(), static_cast<int>(message.size()), Poco::Net::WebSocket::FRAME_TEXT);
        receive(*socket, buffer);
        times.push_back(millisecondsSince(start));
    }
    socket->shutdown();
    server.stopAll(true);
    return times;
}

// Answers 204 and relays nothing: the HTTP round trip that every relayed
// notification starts with.
class NoContent : public HTTPRequestHandler
{
public:
    bool allows(const Permissions&) const override { return true; }
    void post(Request& request, Response& response, const Captures&, SessionPtr) override
    {
        Poco::NullOutputStream discard;
        Poco::StreamCopier::copyStream(request.stream(), discard);
        response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_NO_CONTENT);
        response.send();
    }
};

double post(Poco::Net::HTTPClientSession& publisher, const std::string& path, const std::string& message)
{
    const auto start = Clock::now();
    Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_POST, path, Poco::Net::HTTPMessage::HTTP_1_1);
    request.set(HTTP_HEADER_AUTHENTICATION, "trusted");
    request.setContentLength(static_cast<std::streamsize>(message.size()));
    publisher.sendRequest(request) << message;
    Poco::Net::HTTPResponse response;
    Poco::NullOutputStream discard;
    Poco::StreamCopier::copyStream(publisher.receiveResponse(response), discard);
    return millisecondsSince(start);
}

void notificationRelay()
{
    NoContent noContent;
    std::unique_ptr<Port> port;
    std::shared_ptr<system::SystemNotifier> notifier;
    std::unique_ptr<system::SystemNotifyHandler> handler;
    test::TestService service([&](test::TestService& s) {
        port = std::make_unique<Port>(s.socketReactor(), 16384);
        notifier = std::make_shared<system::SystemNotifier>(*port);
        handler = std::make_unique<system::SystemNotifyHandler>(notifier);
        s.registerHandler("^/system_notify/?$", handler.get());
        s.registerPort("^/system_notifications/?$", *port);
        s.registerHandler("^/nothing$", &noContent);
    });
    service.startAll();
    notifier->start();

    std::vector<std::unique_ptr<Poco::Net::HTTPClientSession>> sessions;
    std::vector<std::unique_ptr<Poco::Net::WebSocket>> subscribers;
    for (int i = 0; i < SUBSCRIBERS; ++i)
    {
        sessions.push_back(std::make_unique<Poco::Net::HTTPClientSession>("127.0.0.1", service.port()));
        subscribers.push_back(connect(*sessions.back(), "/system_notifications"));
    }
    while (port->subscriberCount() < SUBSCRIBERS)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));

    const std::string message = R"({"type":"BenchNotification","channel":"GENERAL","ts":[0,0],"data":{"n":0}})";
    Poco::Net::HTTPClientSession publisher("127.0.0.1", service.port());
    std::vector<char> buffer(65536);
    std::vector<double> first;
    std::vector<double> all;
    std::vector<double> plain;
    for (int i = 0; i < MESSAGES; ++i)
    {
        plain.push_back(post(publisher, "/nothing", message));
        const auto start = Clock::now();
        post(publisher, "/system_notify", message);
        receive(*subscribers[0], buffer);
        first.push_back(millisecondsSince(start));
        for (int s = 1; s < SUBSCRIBERS; ++s)
            receive(*subscribers[s], buffer);
        all.push_back(millisecondsSince(start));
    }
    notifier->stop();
    service.stopAll();

    const auto echo = echoRoundTrips(message);
    const double p50 = percentile(first, 0.5);
    const double p99 = percentile(first, 0.99);
    const double echo50 = percentile(echo, 0.5);
    const double echo99 = percentile(echo, 0.99);
    std::printf("notification relay, %d messages, %d subscribers: to the first p50 %.3f ms p99 %.3f ms; "
                "to all ten p99 %.3f ms\n",
                MESSAGES, SUBSCRIBERS, p50, p99, percentile(all, 0.99));
    std::printf("  loopback WebSocket echo: p50 %.3f ms p99 %.3f ms; ratio p50 %.2f x, p99 %.2f x (target p99 at most 3)\n",
                echo50, echo99, p50 / echo50, p99 / echo99);
    // The relay starts with an HTTP round trip that the echo does not make;
    // no relay can be faster than that round trip.
    const double plain99 = percentile(plain, 0.99);
    std::printf("  floor: the POST round trip alone (204, nothing relayed): p99 %.3f ms, %.2f x the echo's p99; "
                "the relay's p99 is %.2f x that floor\n",
                plain99, plain99 / echo99, p99 / plain99);
}

void installSkills(const std::string& root)
{
    for (int i = 0; i < SKILLS; ++i)
    {
        const std::string dir = root + "/skill-" + std::to_string(i);
        Poco::File(dir).createDirectories();
        Poco::FileOutputStream out(dir + "/package.json");
        out << R"({"name": "skill-)" << i << R"(", "version": "1.0.)" << i << R"(", "pemo": {"main": "main.js"}})";
    }
}

double findOnce(const std::string& root)
{
    const auto start = Clock::now();
    Poco::Pipe out;
    Poco::ProcessHandle find =
        Poco::Process::launch("find", {root, "-name", "package.json"}, nullptr, &out, nullptr);
    Poco::PipeInputStream in(out);
    Poco::NullOutputStream discard;
    Poco::StreamCopier::copyStream(in, discard);
    find.wait();
    return millisecondsSince(start);
}

double listOnce(unsigned port)
{
    const auto start = Clock::now();
    const test::Reply reply = test::request(port, "GET", "/skill/list", "trusted");
    if (reply.status != 200)
        std::printf("  /skill/list answered %d %s\n", reply.status, reply.reason.c_str());
    return millisecondsSince(start);
}

void catalogue()
{
    const std::string root = Poco::TemporaryFile::tempName();
    installSkills(root);
    Poco::AutoPtr<Poco::Util::MapConfiguration> config(new Poco::Util::MapConfiguration);
    config->setString("executable", "/bin/true");
    config->setString("path.pemo[0]", root);

    std::shared_ptr<system::SkillManager> skills;
    std::unique_ptr<SystemNotificationClient> snc;
    std::unique_ptr<system::SkillListHandler> handler;
    test::TestService service([&](test::TestService& s) {
        snc = std::make_unique<SystemNotificationClient>(s.registryClient(), s.socketReactor());
        skills = std::make_shared<system::SkillManager>(config, nullptr, s.registryClient(), *snc);
        handler = std::make_unique<system::SkillListHandler>(skills);
        s.registerHandler("^/skill/list/?$", handler.get());
    });
    service.startAll();

    listOnce(service.port());
    findOnce(root);
    std::vector<double> lists;
    std::vector<double> finds;
    for (int i = 0; i < LIST_RUNS; ++i)
    {
        lists.push_back(listOnce(service.port()));
        finds.push_back(findOnce(root));
    }
    service.stopAll();
    Poco::File(root).remove(true);

    const double list = percentile(lists, 0.5);
    const double find = percentile(finds, 0.5);
    std::printf("/skill/list with %d skills: median %.2f ms; find of their package.json median %.2f ms; "
                "ratio %.2f x (target < 3)\n",
                SKILLS, list, find, list / find);
}

} // namespace

int main()
{
    test::application();
    notificationRelay();
    catalogue();
    return 0;
}
