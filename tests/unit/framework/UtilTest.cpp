#include "LogCapture.h"

#include "pemo/ThreadedSubsystem.h"
#include "pemo/util/Join.h"
#include "pemo/util/PipeCleaner.h"
#include "pemo/util/Worker.h"

#include <Poco/AutoPtr.h>
#include <Poco/Message.h>
#include <Poco/Process.h>
#include <Poco/Thread.h>

#include <gtest/gtest.h>

#include <chrono>
#include <list>
#include <vector>

using namespace pemo::util;

namespace {

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
    pemo::test::LogCapture log("PipeCleanerTest.lines");
    PipeCleaner cleaner(Poco::Logger::get("PipeCleanerTest.lines"));
    Poco::Pipe out;
    std::vector<std::string> args{"-c", "printf 'one\\ntwo\\nthree'"};
    auto handle = Poco::Process::launch("/bin/sh", args, nullptr, &out, &out);
    cleaner.start(out, "svc: ");
    handle.wait();
    cleaner.stop();
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"svc: one", "svc: two", "svc: three"}));
}

// A grandchild that keeps the write end open must not hang stop().
TEST(PipeCleanerTest, StopReturnsWhileTheWriteEndStaysOpen)
{
    pemo::test::LogCapture log("PipeCleanerTest.open");
    PipeCleaner cleaner(Poco::Logger::get("PipeCleanerTest.open"));
    Poco::Pipe out;
    cleaner.start(out, "x: ");
    out.writeBytes("partial\n", 8);
    const auto start = std::chrono::steady_clock::now();
    cleaner.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"x: partial"}));
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
