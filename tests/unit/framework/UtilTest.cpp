#include "pemo/ThreadedSubsystem.h"
#include "pemo/util/Join.h"
#include "pemo/util/PipeCleaner.h"
#include "pemo/util/Worker.h"

#include <Poco/AutoPtr.h>
#include <Poco/Channel.h>
#include <Poco/Message.h>
#include <Poco/Process.h>
#include <Poco/Thread.h>

#include <gtest/gtest.h>

#include <chrono>
#include <list>
#include <mutex>
#include <vector>

using namespace pemo::util;

namespace {

/// Records every message logged to it.
class CaptureChannel : public Poco::Channel
{
public:
    void log(const Poco::Message& message) override
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _lines.push_back(message.getText());
    }

    std::vector<std::string> lines()
    {
        std::lock_guard<std::mutex> lock(_mutex);
        return _lines;
    }

private:
    std::mutex _mutex;
    std::vector<std::string> _lines;
};

class CountingWorker : public Worker
{
public:
    void work() override
    {
        ++passes;
        sleep(60000);
    }
    void onCancel() override { cancelledAfter = passes; }

    std::atomic<int> passes{0};
    int cancelledAfter = -1;
};

Poco::Logger& captureLogger(const std::string& name, Poco::AutoPtr<CaptureChannel>& channel)
{
    channel = new CaptureChannel;
    Poco::Logger& logger = Poco::Logger::get(name);
    logger.setChannel(channel);
    logger.setLevel(Poco::Message::PRIO_TRACE);
    return logger;
}

} // namespace

TEST(WorkerTest, CancelWakesASleepingWorkAndRunsOnCancelOnce)
{
    CountingWorker worker;
    Poco::Thread thread;
    thread.start(worker);
    while (worker.passes == 0)
        Poco::Thread::sleep(1);
    const auto start = std::chrono::steady_clock::now();
    worker.cancel();
    thread.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(worker.cancelledAfter, 1);
}

TEST(PipeCleanerTest, LogsEveryLineWithItsPrefixIncludingAnUnterminatedLast)
{
    Poco::AutoPtr<CaptureChannel> channel;
    PipeCleaner cleaner(captureLogger("PipeCleanerTest.lines", channel));
    Poco::Pipe out;
    std::vector<std::string> args{"-c", "printf 'one\\ntwo\\nthree'"};
    auto handle = Poco::Process::launch("/bin/sh", args, nullptr, &out, &out);
    cleaner.start(out, "svc: ");
    handle.wait();
    cleaner.stop();
    EXPECT_EQ(channel->lines(), (std::vector<std::string>{"svc: one", "svc: two", "svc: three"}));
}

// A grandchild that keeps the write end open must not hang stop().
TEST(PipeCleanerTest, StopReturnsWhileTheWriteEndStaysOpen)
{
    Poco::AutoPtr<CaptureChannel> channel;
    PipeCleaner cleaner(captureLogger("PipeCleanerTest.open", channel));
    Poco::Pipe out;
    cleaner.start(out, "x: ");
    out.writeBytes("partial\n", 8);
    const auto start = std::chrono::steady_clock::now();
    cleaner.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(channel->lines(), (std::vector<std::string>{"x: partial"}));
}

namespace {

/// Counts its turns until asked to stop.
class Ticker : public pemo::ThreadedSubsystem
{
public:
    Ticker() : ThreadedSubsystem("Ticker") {}
    std::atomic<int> turns{0};

protected:
    void initialize(Poco::Util::Application&) override {}
    void uninitialize() override {}
    void run() override
    {
        while (!stopRequested())
        {
            ++turns;
            Poco::Thread::sleep(1);
        }
    }
};

} // namespace

TEST(ThreadedSubsystemTest, RunsBetweenStartAndStopAndRefusesASecondStart)
{
    Poco::AutoPtr<Ticker> ticker(new Ticker);
    ticker->start();
    while (ticker->turns == 0)
        Poco::Thread::sleep(1);
    EXPECT_THROW(ticker->start(), Poco::SystemException);
    ticker->stop();
    const int turns = ticker->turns;
    Poco::Thread::sleep(20);
    EXPECT_EQ(ticker->turns, turns);
    ticker->stop();
}

TEST(JoinTest, SeparatesButDoesNotTerminate)
{
    EXPECT_EQ(join(std::vector<std::string>{"a", "b", "c"}, ", "), "a, b, c");
    EXPECT_EQ(join(std::list<int>{7}, "-"), "7");
    EXPECT_EQ(join(std::vector<std::string>{}, ","), "");
}
