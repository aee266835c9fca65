#include <pemo/ServiceApp.h>
#include <pemo/StartupEvent.h>

#include <Poco/File.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>

#include <cerrno>

namespace {

using pemo::StartupEvent;

// Pids above any pid_max, so no real process shares these events.
const int STALE_PID = 4190001;
const int EARLY_PID = 4190002;
const int SIGNALLED_PID = 4190003;
const int SILENT_PID = 4190004;

std::string eventFile(int pid)
{
    return "/tmp/" + pemo::ServiceApp::getStartupEventName(pid) + ".event";
}

bool semaphoreExists(key_t key)
{
    return ::semget(key, 1, 0) != -1 || errno != ENOENT;
}

// A signal that nobody waited for stayed in the semaphore, and a later
// child with the same pid was taken as started before it even ran.
TEST(StartupEventTest, SignalLeftByAnEarlierProcessWithTheSamePidDoesNotCount)
{
    StartupEvent::signal(STALE_PID);
    Poco::File(eventFile(STALE_PID)).setLastModified(Poco::Timestamp() - Poco::Timespan(3600, 0));

    StartupEvent event(STALE_PID, Poco::Timestamp());
    EXPECT_FALSE(event.wait(100));
}

// The child signalled late in a second, and its supervisor opened the event
// half a second later: reading the file's time in whole seconds made that
// signal look a second older, and it was thrown away.
TEST(StartupEventTest, ChildSignallingBeforeItsSupervisorOpensTheEventStillCounts)
{
    StartupEvent::signal(EARLY_PID);
    const timespec signalled{Poco::Timestamp().epochTime(), 950000000};
    const timespec times[2] = {signalled, signalled};
    ASSERT_EQ(::utimensat(AT_FDCWD, eventFile(EARLY_PID).c_str(), times, 0), 0);
    const Poco::Timestamp launched((static_cast<Poco::Timestamp::TimeVal>(signalled.tv_sec) + 1) * 1000000 + 450000);

    StartupEvent event(EARLY_PID, launched);
    EXPECT_TRUE(event.wait(1000));
}

// Every launch used to leave a semaphore and a file in /tmp for good, until
// the kernel's semaphore table was full.
TEST(StartupEventTest, NothingIsLeftBehindOnceTheWaitIsOver)
{
    for (const int pid : {SIGNALLED_PID, SILENT_PID})
    {
        key_t key = -1;
        {
            StartupEvent event(pid, Poco::Timestamp());
            key = ::ftok(eventFile(pid).c_str(), 'p');
            ASSERT_NE(key, -1);
            ASSERT_TRUE(semaphoreExists(key));
            if (pid == SIGNALLED_PID)
                StartupEvent::signal(pid);
            EXPECT_EQ(event.wait(100), pid == SIGNALLED_PID);
        }
        EXPECT_FALSE(Poco::File(eventFile(pid)).exists()) << pid;
        EXPECT_FALSE(semaphoreExists(key)) << pid;
    }
}

} // namespace
