#include "pemo/system/StartupEvent.h"

#include <pemo/ServiceApp.h>

#include <Poco/File.h>
#include <Poco/NamedEvent.h>

#include <gtest/gtest.h>

#include <sys/ipc.h>
#include <sys/sem.h>

#include <cerrno>

namespace pemo {
namespace system {
namespace {

// Pids above any pid_max, so no real process shares these events.
const int STALE_PID = 4190001;
const int SIGNALLED_PID = 4190002;
const int SILENT_PID = 4190003;

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
    Poco::NamedEvent(pemo::ServiceApp::getStartupEventName(STALE_PID)).set();

    StartupEvent event(STALE_PID);
    EXPECT_FALSE(event.wait(100));
}

// Every launch used to leave a semaphore and a file in /tmp for good, until
// the kernel's semaphore table was full.
TEST(StartupEventTest, NothingIsLeftBehindOnceTheWaitIsOver)
{
    for (const int pid : {SIGNALLED_PID, SILENT_PID})
    {
        key_t key = -1;
        {
            StartupEvent event(pid);
            key = ::ftok(eventFile(pid).c_str(), 'p');
            ASSERT_NE(key, -1);
            ASSERT_TRUE(semaphoreExists(key));
            if (pid == SIGNALLED_PID)
                Poco::NamedEvent(event.name()).set();
            EXPECT_EQ(event.wait(100), pid == SIGNALLED_PID);
        }
        EXPECT_FALSE(Poco::File(eventFile(pid)).exists()) << pid;
        EXPECT_FALSE(semaphoreExists(key)) << pid;
    }
}

} // namespace
} // namespace system
} // namespace pemo
