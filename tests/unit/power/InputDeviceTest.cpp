#include "power/InputDevice.h"

#include "Eventually.h"
#include "LogCapture.h"
#include "ScratchDir.h"

#include <Poco/Condition.h>
#include <Poco/Mutex.h>

#include <gtest/gtest.h>

#include <linux/input.h>

#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace pemo::system;
using pemo::system::test::ScratchDir;

namespace {

class Recorder : public InputDevice::Handler
{
public:
    void onKeyEvent(const KeyEvent& event) override
    {
        Poco::FastMutex::ScopedLock lock(_mutex);
        _events.push_back(event);
        _arrived.broadcast();
    }

    /// The first count events, or fewer if they do not come within five
    /// seconds (two were once too few on a loaded machine).
    std::vector<KeyEvent> waitFor(std::size_t count)
    {
        Poco::FastMutex::ScopedLock lock(_mutex);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (_events.size() < count && std::chrono::steady_clock::now() < deadline)
            _arrived.tryWait(_mutex, 100);
        return _events;
    }

private:
    Poco::FastMutex _mutex;
    Poco::Condition _arrived;
    std::vector<KeyEvent> _events;
};

// The records are the platform's own struct input_event: 16 bytes on the
// 32-bit board, 24 on a 64-bit machine, so the reader must use the native size.
input_event record(unsigned short type, unsigned short code, int value, long seconds = 0, long micros = 0)
{
    input_event event{};
    event.input_event_sec = seconds;
    event.input_event_usec = micros;
    event.type = type;
    event.code = code;
    event.value = value;
    return event;
}

class InputDeviceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(0, ::mkfifo(_dir.file("button").c_str(), 0600));
        // Read-write, so the set-up never waits on the reader thread.
        _writer = ::open(_dir.file("button").c_str(), O_RDWR | O_CLOEXEC);
        ASSERT_GE(_writer, 0);
        _device.registerHandler(_recorder);
        _device.start();
    }
    void TearDown() override
    {
        _device.stop();
        if (_writer >= 0)
            ::close(_writer);
    }

    void send(const std::vector<input_event>& records)
    {
        const auto size = static_cast<ssize_t>(records.size() * sizeof(input_event));
        ASSERT_EQ(size, ::write(_writer, records.data(), static_cast<std::size_t>(size)));
    }

    ScratchDir _dir;
    InputDevice _device{_dir.file("button")};
    std::shared_ptr<Recorder> _recorder = std::make_shared<Recorder>();
    int _writer = -1;
};

} // namespace

TEST_F(InputDeviceTest, NativeRecordsDecodeToPressAndReleaseStampedWithTheirSync)
{
    // A stamp past 2^31 microseconds: a 32-bit product of seconds and 10^6
    // would wrap.
    const long seconds = 1795451173;
    send({record(EV_KEY, KEY_POWER, 1, seconds, 5), record(EV_SYN, SYN_REPORT, 0, seconds, 999999)});
    send({record(EV_KEY, KEY_POWER, 2), record(EV_SYN, SYN_REPORT, 0)});
    send({record(EV_KEY, KEY_POWER, 0), record(EV_SYN, SYN_REPORT, 0, seconds + 2, 1)});

    const auto events = _recorder->waitFor(3);

    ASSERT_EQ(3u, events.size());
    EXPECT_TRUE(events[0].pressed());
    EXPECT_EQ(KeyEvent::POWER, events[0].key());
    EXPECT_EQ(1795451173999999000LL, events[0].time().time_since_epoch().count());
    EXPECT_TRUE(events[1].released()) << "an auto-repeat must not count as a fresh press";
    EXPECT_TRUE(events[2].released());
    EXPECT_EQ(1795451175000001000LL, events[2].time().time_since_epoch().count());
}

TEST_F(InputDeviceTest, BatchesOfOtherKeysOrNotLedByTheKeyAreIgnored)
{
    send({record(EV_KEY, KEY_VOLUMEUP, 1), record(EV_SYN, SYN_REPORT, 0)});
    send({record(EV_MSC, MSC_SCAN, 116), record(EV_KEY, KEY_POWER, 1), record(EV_SYN, SYN_REPORT, 0)});
    // Last, in two writes: the reader keeps a batch open across reads. Batches
    // are decoded in order, so anything the ones above produced comes first.
    send({record(EV_KEY, KEY_POWER, 1, 7, 0)});
    send({record(EV_SYN, SYN_REPORT, 0, 7, 0)});

    const auto events = _recorder->waitFor(1);

    ASSERT_EQ(1u, events.size());
    EXPECT_TRUE(events[0].pressed());
    EXPECT_EQ(7000000000LL, events[0].time().time_since_epoch().count());
}

// A device that failed a read after select called it readable (unplugged:
// ENODEV) had the reader spin at full speed on it for good. It is closed,
// logged once, and opened again every two seconds until it reads again.
TEST(InputDeviceRecoveryTest, DeviceFailingItsReadsIsReopenedInsteadOfSpunOn)
{
    pemo::test::LogCapture log("SystemManager.InputDevice");
    ScratchDir dir;
    const std::string path = dir.file("button");
    // A directory opens and is always readable, but every read fails (EISDIR).
    ASSERT_EQ(0, ::mkdir(path.c_str(), 0700));
    InputDevice device(path);
    auto recorder = std::make_shared<Recorder>();
    device.registerHandler(recorder);
    device.start();
    ASSERT_TRUE(pemo::test::eventually([&] { return log.contains("Could not read " + path); }));
    // Long enough for a reopen of the directory, which fails its read again.
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));

    ASSERT_EQ(0, ::rmdir(path.c_str()));
    ASSERT_EQ(0, ::mkfifo(path.c_str(), 0600));
    int writer = -1;
    ASSERT_TRUE(pemo::test::eventually(
        [&] { return (writer = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)) >= 0; })) << "never reopened";
    const input_event press[] = {record(EV_KEY, KEY_POWER, 1), record(EV_SYN, SYN_REPORT, 0)};
    ASSERT_EQ(static_cast<ssize_t>(sizeof(press)), ::write(writer, press, sizeof(press)));
    EXPECT_EQ(1u, recorder->waitFor(1).size());
    device.stop();
    ::close(writer);
    EXPECT_EQ(1u, log.containing("Could not read " + path).size()) << "logged once, not on every reopen";
}

// A handler's exception other than InputDeviceException ended the reader
// thread without a word, and no key was seen again.
TEST_F(InputDeviceTest, HandlerThrowingLeavesTheReaderReading)
{
    struct Thrower : InputDevice::Handler
    {
        void onKeyEvent(const KeyEvent&) override { throw std::runtime_error("handler broke"); }
    };
    pemo::test::LogCapture log("SystemManager.InputDevice");
    _device.registerHandler(std::make_shared<Thrower>());
    send({record(EV_KEY, KEY_POWER, 1), record(EV_SYN, SYN_REPORT, 0)});
    ASSERT_EQ(1u, _recorder->waitFor(1).size());
    ASSERT_TRUE(pemo::test::eventually([&] { return log.contains("handler broke"); }));
    send({record(EV_KEY, KEY_POWER, 0), record(EV_SYN, SYN_REPORT, 0)});
    EXPECT_EQ(2u, _recorder->waitFor(2).size());
    // The reader logs the second failure after the recorder has the event;
    // the capture must outlive that, or the logger writes to a freed channel.
    _device.stop();
}

// A FIFO standing in for the device can hand out any time; on a 64-bit
// machine multiplying it into nanoseconds overflowed (undefined behaviour, an
// abort under the sanitizers) instead of dropping the batch.
TEST(KeyEventOfTest, TimeOverflowingNanosecondsIsNoKeyEvent)
{
    const auto batch = [](long long seconds, long long micros) {
        input_event sync = record(EV_SYN, SYN_REPORT, 0);
        sync.input_event_sec = static_cast<decltype(sync.input_event_sec)>(seconds);
        sync.input_event_usec = static_cast<decltype(sync.input_event_usec)>(micros);
        return std::vector<input_event>{record(EV_KEY, KEY_POWER, 1), sync};
    };
    if (sizeof(input_event{}.input_event_sec) == 8)
    {
        EXPECT_FALSE(InputDevice::keyEventOf(batch(8358682007911268352LL, 0)));
        EXPECT_FALSE(InputDevice::keyEventOf(batch(10000000000LL, 0)));
        EXPECT_FALSE(InputDevice::keyEventOf(batch(-10000000000LL, 0)));
        EXPECT_TRUE(InputDevice::keyEventOf(batch(9000000000LL, 999999))) << "the year 2255 still counts";
    }
    EXPECT_FALSE(InputDevice::keyEventOf(batch(1, -1)));
    EXPECT_FALSE(InputDevice::keyEventOf(batch(1, 1000000)));
}
