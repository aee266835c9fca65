// pemo-http-abuse: what a misbehaving local client does to an HTTP service,
// and what well-behaved clients get meanwhile. The integration tests run it
// inside a simulated device, against the device's own loopback, as a skill
// would; it only ever connects to 127.0.0.1, and every count and wait it
// takes is bounded below.
//
//   pemo-http-abuse PORT TOKEN [--idle N] [--drip N] [--hold SECONDS]
//                   [--probe PATH] [--burst CLIENTSxREQUESTS]
//
// --idle N   N connections that never send a byte
// --drip N   N requests declaring a 1,000-byte body, sent a byte a second
//            (both reopened when the server closes them: the abuse goes on)
// --hold S   how long the abuse lasts, probing PATH on a fresh connection
//            every 200 ms meanwhile
// --burst    then CLIENTS threads each make REQUESTS requests of PATH, each on
//            a fresh connection, at once
//
// Prints one JSON object: the probes' count, failures and slowest answer in
// ms, how many abusive connections were open at the end and how often one
// was reopened, and the burst's answered and lost requests.
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/NullStream.h>
#include <Poco/StreamCopier.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

const int MAX_CONNECTIONS = 4000;
const int MAX_HOLD = 120;
const int MAX_BURST = 200 * 100;
const int DRIP_BODY = 1000;

struct Options
{
    int port = 0;
    std::string token;
    int idle = 0;
    int drip = 0;
    int hold = 0;
    std::string probe = "/service/list";
    int burstClients = 0;
    int burstRequests = 0;
};

int connectLoopback(int port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
    {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool sendAll(int fd, const std::string& bytes)
{
    return ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

// One abusive connection: idle ones send nothing, dripping ones a head and
// then a byte of their body each round.
struct Abuser
{
    int fd = -1;
    bool drips = false;
    int sent = 0;
};

class Abuse
{
public:
    explicit Abuse(const Options& options) : _options(options) {}

    void open()
    {
        for (int i = 0; i < _options.idle; ++i)
            _abusers.push_back(Abuser{connectLoopback(_options.port), false, 0});
        for (int i = 0; i < _options.drip; ++i)
        {
            Abuser abuser{-1, true, 0};
            reopen(abuser);
            _abusers.push_back(abuser);
        }
    }

    // One round, once a second: each dripping connection sends a byte, and
    // each that the server closed (or answered, which ends it) is reopened.
    void round()
    {
        std::vector<pollfd> fds;
        for (const Abuser& abuser : _abusers)
            fds.push_back(pollfd{abuser.fd, POLLIN, 0});
        ::poll(fds.data(), fds.size(), 0);
        for (std::size_t i = 0; i < _abusers.size(); ++i)
        {
            Abuser& abuser = _abusers[i];
            const bool ended = abuser.fd < 0 || (fds[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0 ||
                               (abuser.drips && (abuser.sent >= DRIP_BODY || !sendAll(abuser.fd, "a")));
            if (abuser.drips && !ended)
                ++abuser.sent;
            if (ended)
            {
                ++_reopened;
                reopen(abuser);
            }
        }
    }

    int openCount() const
    {
        return static_cast<int>(std::count_if(_abusers.begin(), _abusers.end(), [](const Abuser& a) { return a.fd >= 0; }));
    }
    int reopened() const { return _reopened; }

    ~Abuse()
    {
        for (const Abuser& abuser : _abusers)
            if (abuser.fd >= 0)
                ::close(abuser.fd);
    }

private:
    void reopen(Abuser& abuser)
    {
        if (abuser.fd >= 0)
            ::close(abuser.fd);
        abuser.fd = connectLoopback(_options.port);
        abuser.sent = 0;
        if (abuser.fd >= 0 && abuser.drips &&
            !sendAll(abuser.fd, "POST /system_notify HTTP/1.1\r\nHost: 127.0.0.1\r\nPemo-Authenticate: " +
                                    _options.token + "\r\nContent-Length: " + std::to_string(DRIP_BODY) + "\r\n\r\n"))
        {
            ::close(abuser.fd);
            abuser.fd = -1;
        }
    }

    const Options& _options;
    std::vector<Abuser> _abusers;
    int _reopened = 0;
};

// A GET on a fresh connection; its status, 0 when no answer came.
int fetch(const Options& options, Poco::Timespan timeout)
{
    try
    {
        Poco::Net::HTTPClientSession session("127.0.0.1", static_cast<Poco::UInt16>(options.port));
        session.setTimeout(timeout);
        Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_GET, options.probe, Poco::Net::HTTPMessage::HTTP_1_1);
        request.set("Pemo-Authenticate", options.token);
        session.sendRequest(request);
        Poco::Net::HTTPResponse response;
        Poco::NullOutputStream sink;
        Poco::StreamCopier::copyStream(session.receiveResponse(response), sink);
        return response.getStatus();
    }
    catch (const Poco::Exception&)
    {
        return 0;
    }
}

struct Burst
{
    std::atomic<int> answered{0};
    std::atomic<int> lost{0};
};

void burst(const Options& options, Burst& result)
{
    std::vector<std::thread> clients;
    for (int c = 0; c < options.burstClients; ++c)
        clients.emplace_back([&] {
            for (int r = 0; r < options.burstRequests; ++r)
                (fetch(options, Poco::Timespan(30, 0)) == 200 ? result.answered : result.lost)++;
        });
    for (auto& client : clients)
        client.join();
}

bool parse(int argc, char** argv, Options& options)
{
    if (argc < 3)
        return false;
    options.port = std::atoi(argv[1]);
    options.token = argv[2];
    for (int i = 3; i + 1 < argc; i += 2)
    {
        const std::string flag = argv[i];
        const std::string value = argv[i + 1];
        if (flag == "--idle")
            options.idle = std::clamp(std::atoi(value.c_str()), 0, MAX_CONNECTIONS);
        else if (flag == "--drip")
            options.drip = std::clamp(std::atoi(value.c_str()), 0, MAX_CONNECTIONS);
        else if (flag == "--hold")
            options.hold = std::clamp(std::atoi(value.c_str()), 0, MAX_HOLD);
        else if (flag == "--probe")
            options.probe = value;
        else if (flag == "--burst" && std::sscanf(value.c_str(), "%dx%d", &options.burstClients, &options.burstRequests) == 2)
            options.burstRequests = std::clamp(options.burstRequests, 0, MAX_BURST / std::max(1, options.burstClients));
        else
            return false;
    }
    return options.port > 0 && options.port < 65536 && (argc % 2) == 1;
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!parse(argc, argv, options))
    {
        std::fprintf(stderr, "usage: pemo-http-abuse PORT TOKEN [--idle N] [--drip N] [--hold SECONDS] "
                             "[--probe PATH] [--burst CLIENTSxREQUESTS]\n");
        return 2;
    }
    // The abuse is bounded by our own descriptors otherwise.
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0)
    {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }

    Abuse abuse(options);
    abuse.open();
    int probes = 0;
    int failures = 0;
    double slowest = 0;
    const auto end = Clock::now() + std::chrono::seconds(options.hold);
    auto nextRound = Clock::now() + std::chrono::seconds(1);
    while (Clock::now() < end)
    {
        const auto start = Clock::now();
        failures += fetch(options, Poco::Timespan(10, 0)) == 200 ? 0 : 1;
        ++probes;
        slowest = std::max(slowest, std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        if (Clock::now() >= nextRound)
        {
            abuse.round();
            nextRound += std::chrono::seconds(1);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    Burst result;
    burst(options, result);
    std::printf("{\"probes\": %d, \"probeFailures\": %d, \"slowestProbeMs\": %.0f, \"abusersOpen\": %d, "
                "\"reopened\": %d, \"burstAnswered\": %d, \"burstLost\": %d}\n",
                probes, failures, slowest, abuse.openCount(), abuse.reopened(), result.answered.load(),
                result.lost.load());
    return 0;
}
