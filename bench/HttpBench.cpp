// The framework's HTTP server against a bare Poco HTTP server of the same
// settings built here, each figure a ratio measured in the same run (never
// asserted):
// - GETs of an in-memory route per second over kept-alive connections, as
//   many as the service has workers;
// - a burst of 96 clients, each making requests on fresh connections at
//   once: requests per second, and how many were closed unanswered;
// - the 99th percentile of a fresh request while 1,000 idle connections and
//   40 drip-fed bodies are open, against the same with none.
#include "BenchStats.h"
#include "FrameworkTestSupport.h"

#include <pemo/Authentication.h>

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/NullStream.h>
#include <Poco/StreamCopier.h>

#include <sys/resource.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
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
const int BURST_CLIENTS = 96;
const int BURST_REQUESTS = 30;
const int IDLE = 1000;
const int DRIPPING = 40;
const int PROBES = 300;
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


// A GET of /ok on a fresh connection; false when no answer came.
bool fetchFresh(Poco::UInt16 port)
{
    try
    {
        Poco::Net::HTTPClientSession session("127.0.0.1", port);
        session.setTimeout(Poco::Timespan(30, 0));
        Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_GET, "/ok", Poco::Net::HTTPMessage::HTTP_1_1);
        request.set(HTTP_HEADER_AUTHENTICATION, "trusted");
        session.sendRequest(request);
        Poco::Net::HTTPResponse response;
        Poco::NullOutputStream sink;
        Poco::StreamCopier::copyStream(session.receiveResponse(response), sink);
        return response.getStatus() == Poco::Net::HTTPResponse::HTTP_OK;
    }
    catch (const Poco::Exception&)
    {
        return false;
    }
}

struct BurstResult
{
    double perSecond = 0;
    long lost = 0;
};

BurstResult burst(Poco::UInt16 port)
{
    std::atomic<long> answered{0};
    std::atomic<long> lost{0};
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> clients;
    for (int i = 0; i < BURST_CLIENTS; ++i)
        clients.emplace_back([&] {
            for (int r = 0; r < BURST_REQUESTS; ++r)
                (fetchFresh(port) ? answered : lost)++;
        });
    for (auto& client : clients)
        client.join();
    const double seconds = bench::millisecondsSince(start) / 1000.0;
    return BurstResult{static_cast<double>(answered) / seconds, lost};
}

// Milliseconds of each of PROBES fresh requests, one after the other.
std::vector<double> probe(Poco::UInt16 port)
{
    std::vector<double> times;
    for (int i = 0; i < PROBES; ++i)
    {
        const auto start = std::chrono::steady_clock::now();
        fetchFresh(port);
        times.push_back(bench::millisecondsSince(start));
    }
    return times;
}

// Connections that never send a byte, and requests whose declared body
// comes a byte at a time, held open while they live.
class Abuse
{
public:
    explicit Abuse(Poco::UInt16 port)
    {
        const Poco::Net::SocketAddress address("127.0.0.1", port);
        for (int i = 0; i < IDLE + DRIPPING; ++i)
            _sockets.emplace_back(address);
        const std::string head = "POST /ok HTTP/1.1\r\nPemo-Authenticate: trusted\r\nContent-Length: 1000\r\n\r\n";
        for (int i = IDLE; i < IDLE + DRIPPING; ++i)
            _sockets[i].sendBytes(head.data(), static_cast<int>(head.size()));
        _dripper = std::thread([this] {
            while (!_stop)
            {
                for (int i = IDLE; i < IDLE + DRIPPING; ++i)
                    drip(_sockets[i]);
                std::unique_lock<std::mutex> lock(_mutex);
                _wake.wait_for(lock, std::chrono::seconds(1), [this] { return _stop.load(); });
            }
        });
    }

    ~Abuse()
    {
        _stop = true;
        _wake.notify_all();
        _dripper.join();
    }

private:
    static void drip(Poco::Net::StreamSocket& socket)
    {
        try
        {
            socket.sendBytes("a", 1);
        }
        catch (const Poco::Exception&)
        {
            // Closed by the server at the body's deadline.
        }
    }

    std::vector<Poco::Net::StreamSocket> _sockets;
    std::thread _dripper;
    std::atomic<bool> _stop{false};
    std::mutex _mutex;
    std::condition_variable _wake;
};

void raiseOpenFileLimit()
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max)
    {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

} // namespace

int main()
{
    raiseOpenFileLimit();
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
    Poco::Net::HTTPServer bare(new test::FixedAnswerFactory(BODY), pool, listener, params);
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

    // Alternated, so that whatever else the machine does weighs on both.
    std::vector<double> quiet;
    std::vector<double> abused;
    for (int round = 0; round < ROUNDS; ++round)
    {
        quiet.push_back(bench::percentile(probe(service.port()), 0.99));
        Abuse abuse(service.port());
        abused.push_back(bench::percentile(probe(service.port()), 0.99));
    }
    std::printf("Fresh request, p99 of %d one after the other, median of %d rounds\n", PROBES, ROUNDS);
    std::printf("  nothing else open                                 %7.2f ms\n", bench::median(quiet));
    std::printf("  %d idle connections and %d drip-fed bodies open %7.2f ms   ratio %.2f (target at most 1.5)\n",
                IDLE, DRIPPING, bench::median(abused), bench::median(abused) / bench::median(quiet));

    const BurstResult bareBurst = burst(listener.address().port());
    const BurstResult ownBurst = burst(service.port());
    std::printf("Burst: %d clients, %d requests each, every request on a fresh connection\n", BURST_CLIENTS,
                BURST_REQUESTS);
    std::printf("  bare Poco HTTP server   %9.0f requests/s   %ld closed unanswered\n", bareBurst.perSecond,
                bareBurst.lost);
    std::printf("  framework               %9.0f requests/s   %ld closed unanswered   ratio %.2f (target at least "
                "0.9, none lost)\n",
                ownBurst.perSecond, ownBurst.lost, ownBurst.perSecond / bareBurst.perSecond);

    bare.stopAll(true);
    service.stopAll();
    return 0;
}
