// Two costs of the Wi-Fi endpoints on the simulated device (real
// wpa_supplicant, wired driver), printed as ratios (never asserted):
//  - POST /wifi/wpa with STATUS, median, against one plain HTTP round trip
//    to the daemon (a path no route serves) plus one STATUS sent straight to
//    the same wpa_supplicant with wpa_ctrl_request, both measured in the
//    same run, interleaved;
//  - event relay: from a RECONNECT sent to wpa_supplicant outside the daemon
//    to the CTRL-EVENT-CONNECTED frame on /wifi/messages, 95th percentile,
//    against the event thread's 1000 ms poll interval, which is its floor.
// Needs root: it starts a simulated device.
//
// Usage: pemo-network-bench [requests] [events]   (default 200 and 30)
#include "BenchStats.h"
#include "Http.h"
#include "SimDevice.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <wpa_ctrl.h>

using namespace pemo::test;
using Clock = std::chrono::steady_clock;

namespace {

using pemo::bench::percentile;

const double POLL_MS = 1000.0;

double timedMs(const std::function<void()>& what)
{
    const auto start = Clock::now();
    what();
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// A command connection of our own to the device's wpa_supplicant. Its
// socket is reached through the device's root; the reply comes back to a
// client socket in the state directory, which has the same path inside the
// device.
class DirectControl
{
public:
    explicit DirectControl(const SimDevice& device)
    {
        std::ifstream pidFile(device.statePath("device.pid"));
        std::string pid;
        pidFile >> pid;
        const std::string socket = "/proc/" + pid + "/root/run/wpa_supplicant/wlan0";
        _ctrl = wpa_ctrl_open2(socket.c_str(), device.stateDir().c_str());
        if (!_ctrl)
            throw std::runtime_error("cannot open " + socket);
    }
    ~DirectControl() { wpa_ctrl_close(_ctrl); }

    std::string request(const std::string& command)
    {
        char reply[4096];
        std::size_t length = sizeof(reply);
        if (wpa_ctrl_request(_ctrl, command.data(), command.size(), reply, &length, nullptr) != 0)
            throw std::runtime_error(command + " failed");
        return std::string(reply, length);
    }

private:
    wpa_ctrl* _ctrl = nullptr;
};

void expect(bool ok, const std::string& what)
{
    if (!ok)
        throw std::runtime_error(what);
}

void benchStatus(const ApiClient& api, DirectControl& direct, int requests)
{
    std::vector<double> viaDaemon, plain, straight;
    for (int i = 0; i < requests; ++i)
    {
        viaDaemon.push_back(timedMs([&] {
            expect(api.post("/wifi/wpa", R"({"command": "STATUS"})").status == 200, "POST /wifi/wpa failed");
        }));
        plain.push_back(timedMs([&] { expect(api.get("/no/such/route").status == 404, "no 404"); }));
        straight.push_back(timedMs([&] { direct.request("STATUS"); }));
    }
    const double reference = percentile(plain, 0.5) + percentile(straight, 0.5);
    const double measured = percentile(viaDaemon, 0.5);
    std::printf("POST /wifi/wpa STATUS: median %.2f ms over %d; plain round trip %.2f ms + direct "
                "wpa_ctrl_request %.3f ms = %.2f ms; ratio %.2f (target <= 1.5)\n",
                measured, requests, percentile(plain, 0.5), percentile(straight, 0.5), reference,
                measured / reference);
}

void benchRelay(const SimDevice& device, DirectControl& direct, int events)
{
    int status = 0;
    auto subscriber = WebSocketSubscriber::connect(device.port(), "/wifi/messages", device.token(), status);
    expect(status == 101, "cannot subscribe to /wifi/messages");
    const auto waitFor = [&](const std::string& what) {
        for (;;)
        {
            const auto frame = subscriber->receive(Poco::Timespan(5, 0));
            expect(frame.has_value(), "no " + what + " frame within 5 s");
            if (frame->find(what) != std::string::npos)
                return;
        }
    };
    std::mt19937 random(42);
    std::uniform_int_distribution<int> phase(0, static_cast<int>(POLL_MS) - 1);
    std::vector<double> delays;
    for (int i = 0; i < events; ++i)
    {
        direct.request("DISCONNECT");
        waitFor("CTRL-EVENT-DISCONNECTED");
        // Lands anywhere in the poll interval, not in step with it.
        std::this_thread::sleep_for(std::chrono::milliseconds(phase(random)));
        delays.push_back(timedMs([&] {
            direct.request("RECONNECT");
            waitFor("CTRL-EVENT-CONNECTED ");
        }));
    }
    std::printf("event relay RECONNECT -> frame: median %.0f ms, p95 %.0f ms over %d; p95 %.2f x the %.0f ms "
                "poll (target <= 1.1), max %.0f ms\n",
                percentile(delays, 0.5), percentile(delays, 0.95), events, percentile(delays, 0.95) / POLL_MS,
                POLL_MS, percentile(delays, 1.0));
}

} // namespace

int main(int argc, char** argv)
{
    const int requests = argc > 1 ? std::atoi(argv[1]) : 200;
    const int events = argc > 2 ? std::atoi(argv[2]) : 30;
    try
    {
        SimOptions options;
        options.config = [](Poco::JSON::Object& root) {
            root.getObject("SystemManager")->getObject("service")->set("services", Poco::JSON::Array());
        };
        SimDevice device(options);
        device.start();
        const ApiClient api(device.port(), device.token());
        for (int i = 0; i < 100 && api.post("/wifi/wpa", R"({"command": "PING"})").status != 200; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        DirectControl direct(device);
        benchStatus(api, direct, requests);
        benchRelay(device, direct, events);
        device.stop();
    }
    catch (const std::exception& e)
    {
        std::fprintf(stderr, "pemo-network-bench: %s\n", e.what());
        return 1;
    }
    return 0;
}
