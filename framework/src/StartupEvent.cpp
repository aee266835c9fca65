#include "pemo/StartupEvent.h"

#include "pemo/ServiceApp.h"

#include <Poco/Event.h>
#include <Poco/Logger.h>

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

namespace pemo {

namespace {

// On Linux, Poco keeps a named event as a System V semaphore keyed by
// ftok() of this file, and removes neither: left alone, every launch would
// leave one of each behind until the kernel's semaphore table is full.
std::string eventFile(int pid)
{
    return "/tmp/" + ServiceApp::getStartupEventName(pid) + ".event";
}

// The file of a child that signals before its supervisor opens the event
// is newer than the launch; file times are coarse, hence the margin.
bool leftBefore(const std::string& file, const Poco::Timestamp& launched)
{
    struct stat status
    {
    };
    if (::stat(file.c_str(), &status) == -1)
        return false;
    const Poco::Timestamp created(static_cast<Poco::Timestamp::TimeVal>(status.st_mtim.tv_sec) * 1000000 +
                                  status.st_mtim.tv_nsec / 1000);
    return created + Poco::Timespan(1, 0) < launched;
}

} // namespace

void StartupEvent::signal(int pid)
{
    Poco::NamedEvent(ServiceApp::getStartupEventName(pid)).set();
}

StartupEvent::StartupEvent(int pid, const Poco::Timestamp& launched)
    : _pid(pid), _name(ServiceApp::getStartupEventName(pid))
{
    if (leftBefore(eventFile(pid), launched))
        discard(pid);
    _event = std::make_shared<Poco::NamedEvent>(_name);
}

StartupEvent::~StartupEvent()
{
    _event.reset();
    discard(_pid);
}

// A named event has no timed wait, so a helper thread waits for it. When the
// time is up the supervisor signals the event itself to release that thread;
// a child signalling in the same instant is then simply counted as late.
bool StartupEvent::wait(long milliseconds)
{
    Poco::Event signalled;
    std::thread waiter([&] {
        _event->wait();
        signalled.set();
    });
    const bool inTime = signalled.tryWait(milliseconds);
    if (!inTime)
        _event->set();
    waiter.join();
    return inTime;
}

void StartupEvent::discard(int pid)
{
    const std::string file = eventFile(pid);
    const key_t key = ::ftok(file.c_str(), 'p');
    if (key == -1)
        return;
    const int id = ::semget(key, 1, 0);
    Poco::Logger& logger = Poco::Logger::get("StartupEvent");
    if (id != -1 && ::semctl(id, 0, IPC_RMID) == -1)
        logger.warning("Cannot remove the semaphore of " + file + ": " + std::strerror(errno) +
                       "; it stays until reboot");
    if (::unlink(file.c_str()) == -1 && errno != ENOENT)
        logger.warning("Cannot remove " + file + ": " + std::strerror(errno) + "; it stays until reboot");
}

} // namespace pemo
