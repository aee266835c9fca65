// Requests per second of an HTTP GET of an in-memory route over kept-alive
// connections, as many as the service has workers, through the framework
// against a bare Poco HTTP server of the same settings built here; printed
// as a ratio measured in the same run (never asserted).
#include "FrameworkTestSupport.h"

#include <pemo/Authentication.h>

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/NullStream.h>
#include <Poco/StreamCopier.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

using namespace pemo;

namespace {

const int WORKERS = 8;
const auto ROUND = std::chrono::seconds(3);
const int ROUNDS = 3;
const std::string BODY = "{\"ok\": true}";

class OkRoute : public HTTPRequestHandler
{
public:
    bool allows(const Permissions& held) const override { return Permissions::check(Permissions(true), held); }
    void get(Request&, Response& response, const Captures&, SessionPtr) override
    {
        response.sendBuffer(BODY.data(), BODY.size());
    }
};

class BareHandler : public Poco::Net::HTTPRequestHandler
{
public:
    void handleRequest(Poco::Net::HTTPServerRequest&, Poco::Net::HTTPServerResponse& response) override
    {
        response.sendBuffer(BODY.data(), BODY.size());
    }
};

class BareFactory : public Poco::Net::HTTPRequestHandlerFactory
{
public:
    Poco::Net::HTTPRequestHandler* createRequestHandler(const Poco::Net::HTTPServerRequest&) override
    {
        return new BareHandler;
    }
};

// Requests per second that WORKERS kept-alive clients get for ROUND.
double requestsPerSecond(Poco::UInt16 port)
{
    std::atomic<long> done{0};
    std::atomic<bool> stop{false};
    std::vector<std::thread> clients;
    for (int i = 0; i < WORKERS; ++i)
        clients.emplace_back([&] {
            Poco::Net::HTTPClientSession session("127.0.0.1", port);
            session.setKeepAlive(true);
            Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_GET, "/ok", Poco::Net::HTTPMessage::HTTP_1_1);
            request.set(HTTP_HEADER_AUTHENTICATION, "trusted");
            request.setKeepAlive(true);
            Poco::NullOutputStream sink;
            while (!stop)
            {
                session.sendRequest(request);
                Poco::Net::HTTPResponse response;
                Poco::StreamCopier::copyStream(session.receiveResponse(response), sink);
                ++done;
            }
        });
    std::this_thread::sleep_for(ROUND);
    stop = true;
    for (auto& client : clients)
        client.join();
    return static_cast<double>(done) / std::chrono::duration<double>(ROUND).count();
}

} // namespace

int main()
{
    OkRoute route;
    test::TestService service([&](test::TestService& s) { s.registerHandler("^/ok/?$", &route); },
                              {{"pemo.http.threads", std::to_string(WORKERS)}});
    service.startAll();

    Poco::Net::ServerSocket listener(Poco::Net::SocketAddress("127.0.0.1", 0), 64);
    auto* params = new Poco::Net::HTTPServerParams;
    params->setMaxThreads(WORKERS);
    params->setMaxQueued(64);
    params->setKeepAlive(true);
    Poco::ThreadPool pool(2, WORKERS);
    Poco::Net::HTTPServer bare(new BareFactory, pool, listener, params);
    bare.start();

    double framework = 0;
    double reference = 0;
    for (int round = 0; round < ROUNDS; ++round)
    {
        framework += requestsPerSecond(service.port());
        reference += requestsPerSecond(listener.address().port());
    }
    framework /= ROUNDS;
    reference /= ROUNDS;
    std::printf("GET of an in-memory route, %d kept-alive connections, %d workers, %d rounds of %lld s each\n",
                WORKERS, WORKERS, ROUNDS, static_cast<long long>(ROUND.count()));
    std::printf("  bare Poco HTTP server   %9.0f requests/s\n", reference);
    std::printf("  framework               %9.0f requests/s   ratio %.2f (target at least 0.9)\n", framework,
                framework / reference);
    bare.stopAll(true);
    service.stopAll();
    return 0;
}
