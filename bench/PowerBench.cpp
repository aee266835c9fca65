// Two costs of the power button, printed as ratios (never asserted):
//  - latency: from a press held without release to the power-off request,
//    20 presses, against the hold duration, beside the Poco timer's own
//    lateness for the same interval measured in the same run;
//  - idle: wake-ups of the reader thread over 20 s without a key, against
//    one wake-up per 2-second select time-out.
// The power manager here only records the request: nothing is ever run.
//
// Usage: pemo-power-bench [duration_ms]   (default 2000)
#include "BenchStats.h"
#include "power/PowerButton.h"
#include "power/PowerManager.h"

#include <pemo/ServiceRegistryClient.h>
#include <pemo/SystemNotificationClient.h>

#include <Poco/Event.h>
#include <Poco/Net/SocketReactor.h>
#include <Poco/TemporaryFile.h>
#include <Poco/Timer.h>
#include <Poco/Util/MapConfiguration.h>

#include <fcntl.h>
#include <linux/input.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace pemo::system;
using Clock = std::chrono::steady_clock;

namespace {

using pemo::bench::median;
using pemo::bench::milliseconds;

const int PRESSES = 20;
const int IDLE_SECONDS = 20;

class RecordingPowerManager : public PowerManager
{
public:
    explicit RecordingPowerManager(pemo::SystemNotificationClient& snc)
        : PowerManager(new Poco::Util::MapConfiguration, snc)
    {
    }
    void poweroff() override
    {
        requested = Clock::now();
        done.set();
    }
    void reboot() override {}

    Clock::time_point requested;
    Poco::Event done;
};


struct Target
{
    Clock::time_point fired;
    Poco::Event done;
    void onTimer(Poco::Timer&)
    {
        fired = Clock::now();
        done.set();
    }
};

double timerLateness(long duration)
{
    std::vector<double> ratios;
    for (int i = 0; i < PRESSES; ++i)
    {
        Target target;
        Poco::Timer timer(duration, 0);
        const auto start = Clock::now();
        timer.start(Poco::TimerCallback<Target>(target, &Target::onTimer));
        target.done.wait();
        ratios.push_back(milliseconds(target.fired - start) / static_cast<double>(duration));
    }
    return median(ratios);
}

void writeRecords(int fd, std::initializer_list<input_event> records)
{
    const std::vector<input_event> all(records);
    if (::write(fd, all.data(), all.size() * sizeof(input_event)) < 0)
        std::perror("write");
}

input_event record(unsigned short type, unsigned short code, int value)
{
    input_event event{};
    event.type = type;
    event.code = code;
    event.value = value;
    return event;
}

// A fresh FIFO standing in for the device, with a writer kept open.
struct Fifo
{
    explicit Fifo(const std::string& path) : path(path)
    {
        ::mkfifo(path.c_str(), 0600);
        fd = ::open(path.c_str(), O_RDWR);
    }
    ~Fifo()
    {
        if (fd >= 0)
            ::close(fd);
        ::unlink(path.c_str());
    }
    std::string path;
    int fd;
};

Poco::AutoPtr<Poco::Util::MapConfiguration> buttonConfig(const std::string& path, long duration)
{
    Poco::AutoPtr<Poco::Util::MapConfiguration> config = new Poco::Util::MapConfiguration;
    config->setString("path", path);
    config->setInt("duration", static_cast<int>(duration));
    return config;
}

double buttonLatency(pemo::SystemNotificationClient& snc, const std::string& dir, long duration)
{
    std::vector<double> ratios;
    for (int i = 0; i < PRESSES; ++i)
    {
        Fifo fifo(dir + "/button" + std::to_string(i));
        auto pm = std::make_shared<RecordingPowerManager>(snc);
        {
            PowerButton button(buttonConfig(fifo.path, duration), snc, pm);
            std::this_thread::sleep_for(std::chrono::milliseconds(50)); // the reader is waiting
            const auto pressed = Clock::now();
            writeRecords(fifo.fd, {record(EV_KEY, KEY_POWER, 1), record(EV_SYN, SYN_REPORT, 0)});
            pm->done.wait();
            ratios.push_back(milliseconds(pm->requested - pressed) / static_cast<double>(duration));
            // With its writer gone the reader sleeps, which a stop cuts short.
            ::close(fifo.fd);
            fifo.fd = -1;
        }
    }
    return median(ratios);
}

std::set<std::string> threads()
{
    std::set<std::string> ids;
    if (DIR* tasks = ::opendir("/proc/self/task"))
    {
        while (const dirent* entry = ::readdir(tasks))
            if (entry->d_name[0] != '.')
                ids.insert(entry->d_name);
        ::closedir(tasks);
    }
    return ids;
}

long voluntarySwitches(const std::string& tid)
{
    std::ifstream status("/proc/self/task/" + tid + "/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("voluntary_ctxt_switches:", 0) == 0)
            return std::atol(line.c_str() + line.find(':') + 1);
    return -1;
}

double idleWakeUps(pemo::SystemNotificationClient& snc, const std::string& dir)
{
    Fifo fifo(dir + "/idle");
    const auto before = threads();
    PowerButton button(buttonConfig(fifo.path, 2000), snc, nullptr);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::string reader;
    for (const auto& tid : threads())
        if (!before.count(tid))
            reader = tid;
    const long start = voluntarySwitches(reader);
    std::this_thread::sleep_for(std::chrono::seconds(IDLE_SECONDS));
    return static_cast<double>(voluntarySwitches(reader) - start);
}

} // namespace

int main(int argc, char** argv)
{
    const long duration = argc > 1 ? std::atol(argv[1]) : 2000;
    Poco::TemporaryFile dir;
    dir.createDirectories();
    pemo::ServiceRegistryClient registry;
    Poco::Net::SocketReactor reactor;
    pemo::SystemNotificationClient snc(registry, reactor);

    const double reference = timerLateness(duration);
    const double latency = buttonLatency(snc, dir.path(), duration);
    std::printf("power button: press to power-off request, median of %d presses held %ld ms: %.4f x duration "
                "(target <= 1.05); Poco timer of the same interval: %.4f x\n",
                PRESSES, duration, latency, reference);

    const double wakeUps = idleWakeUps(snc, dir.path());
    const double expected = IDLE_SECONDS / 2.0;
    std::printf("power button idle: %.0f reader wake-ups in %d s, %.2f x one per 2 s select time-out "
                "(target <= 1)\n",
                wakeUps, IDLE_SECONDS, wakeUps / expected);
    return 0;
}
