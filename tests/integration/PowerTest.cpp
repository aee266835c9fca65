// Power off and reboot on the simulated device: requested over HTTP, and by
// real input_event records written to the power button's FIFO. Each device
// can go down only once, so each test starts its own.
#include "Http.h"
#include "SharedDevice.h"
#include "SimDevice.h"

#include <Poco/JSON/Object.h>
#include <Poco/Thread.h>
#include <Poco/Timestamp.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/input.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace pemo::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Long enough for the daemon to act on a record it was going to act on.
const milliseconds SETTLE(1500);
// How much short of the duration a short press is released. The daemon times
// the hold from reading the press to reading the release, and on a loaded
// two-core machine those two reads drift apart by more than a millisecond.
const milliseconds SHORT_OF_DURATION(100);

std::unique_ptr<SimDevice> startDevice(unsigned warning, unsigned duration, const std::string& buttonPath = "")
{
    SimOptions options;
    options.config = [=](Poco::JSON::Object& root) {
        auto manager = root.getObject("SystemManager");
        manager->getObject("powerManager")->set("warning", warning);
        manager->getObject("powerButton")->set("duration", duration);
        if (!buttonPath.empty())
            manager->getObject("powerButton")->set("path", buttonPath);
        // No supervised services: they only slow the start down here.
        manager->getObject("service")->set("services", Poco::JSON::Array());
    };
    auto device = std::make_unique<SimDevice>(options);
    device->start();
    return device;
}

// The device's power button, written from the host as the kernel would:
// whole native input_event records.
class Button
{
public:
    explicit Button(const SimDevice& device) : _fd(::open(device.statePath("input/power-button").c_str(), O_WRONLY))
    {
        if (_fd < 0)
            throw std::runtime_error("cannot open the power button FIFO");
    }
    ~Button() { ::close(_fd); }

    static input_event record(unsigned short type, unsigned short code, int value)
    {
        input_event event{};
        timeval now{};
        ::gettimeofday(&now, nullptr);
        event.input_event_sec = now.tv_sec;
        event.input_event_usec = now.tv_usec;
        event.type = type;
        event.code = code;
        event.value = value;
        return event;
    }
    static input_event key(int value, unsigned short code = KEY_POWER) { return record(EV_KEY, code, value); }
    static input_event syn() { return record(EV_SYN, SYN_REPORT, 0); }

    void write(const std::vector<input_event>& records) const
    {
        const auto size = records.size() * sizeof(input_event);
        ASSERT_EQ(::write(_fd, records.data(), size), static_cast<ssize_t>(size));
    }

private:
    int _fd;
};

class PowerTest : public ::testing::Test
{
protected:
    // The next frame of the subscriber, parsed.
    static Poco::JSON::Object::Ptr nextNotification(WebSocketSubscriber& subscriber)
    {
        const auto frame = subscriber.receive(Poco::Timespan(5, 0));
        if (!frame)
            return nullptr;
        return parseObject(*frame);
    }

    static void expectWarning(const Poco::JSON::Object::Ptr& notification, unsigned eta)
    {
        ASSERT_TRUE(notification) << "no shutdown warning";
        EXPECT_EQ(notification->getValue<std::string>("type"), "ShutdownWarning");
        EXPECT_EQ(notification->getValue<std::string>("channel"), "POWER_MANAGEMENT");
        EXPECT_EQ(notification->getObject("data")->getValue<unsigned>("eta"), eta);
        EXPECT_EQ(notification->getObject("data")->getValue<int>("reason"), 2);
    }
};

// Which records make a press or a release (other keys, unsynced batches,
// auto-repeats) is pinned by the input device's unit tests.
TEST_F(PowerTest, OnlyAWholeHoldOfThePowerKeyPowersOffAndOnlyTheFirst)
{
    const unsigned duration = 1000;
    auto device = startDevice(0, duration);
    auto subscriber = subscribe(*device);
    ASSERT_TRUE(subscriber);
    Button button(*device);
    auto powerOffs = [&] { return device->calls("poweroff").size(); };

    // Released just short of the duration.
    const auto pressed = Clock::now();
    button.write({Button::key(1), Button::syn()});
    std::this_thread::sleep_until(pressed + milliseconds(duration) - SHORT_OF_DURATION);
    button.write({Button::key(0), Button::syn()});
    std::this_thread::sleep_for(SETTLE);
    EXPECT_EQ(powerOffs(), 0u);

    // Held: with no warning delay the command runs as soon as the hold is long enough.
    const auto held = Clock::now();
    button.write({Button::key(1), Button::syn()});
    ASSERT_TRUE(eventually([&] { return powerOffs() > 0; }, milliseconds(duration + 1000)));
    EXPECT_GE(Clock::now() - held, milliseconds(duration));
    button.write({Button::key(0), Button::syn()});
    expectWarning(nextNotification(*subscriber), 0);

    // The button is spent: a second long press does nothing.
    button.write({Button::key(1), Button::syn()});
    std::this_thread::sleep_for(milliseconds(duration) + SETTLE);
    button.write({Button::key(0), Button::syn()});
    EXPECT_EQ(device->calls("poweroff"), std::vector<std::vector<std::string>>{{}});
    const std::string log = device->readStateFile("log/system-manager.log");
    EXPECT_EQ(occurrences(log, "Power button pressed, shutting down"), 1u);
    EXPECT_FALSE(subscriber->receive(Poco::Timespan(0, 300000)));
}

TEST_F(PowerTest, HttpPowerOffWarnsFirstRunsOnceAndRefusesEveryLaterRequest)
{
    const unsigned warning = 1500;
    auto device = startDevice(warning, 2000, "/run/pemo-sim/no-such-button");
    // Without its button the daemon still serves every route.
    EXPECT_TRUE(eventually([&] {
        return occurrences(device->readStateFile("log/system-manager.log"), "Could not open /run/pemo-sim/no-such-button") ==
               1;
    }));
    auto subscriber = subscribe(*device);
    ASSERT_TRUE(subscriber);
    ApiClient api(device->port(), device->token());
    EXPECT_EQ(api.get("/session/list").status, 200);

    const HttpResponse off = api.post("/power/off");
    ASSERT_EQ(off.status, 204) << off.reason;
    expectWarning(nextNotification(*subscriber), warning);
    EXPECT_TRUE(device->calls("poweroff").empty()) << "the command ran before the warning delay";

    for (const char* path : {"/power/reboot", "/power/off"})
    {
        const HttpResponse again = api.post(path);
        EXPECT_EQ(again.status, 500) << path;
        EXPECT_EQ(again.reason, "PowerOff already requested") << path;
    }
    ASSERT_TRUE(eventually([&] { return !device->calls("poweroff").empty(); }));
    std::this_thread::sleep_for(milliseconds(500));
    EXPECT_EQ(device->calls("poweroff").size(), 1u);
    EXPECT_TRUE(device->calls("reboot").empty());
    EXPECT_FALSE(subscriber->receive(Poco::Timespan(0, 300000)));
}

} // namespace
} // namespace pemo::test
