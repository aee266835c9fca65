#include "pemo/system/StartupEvent.h"

#include <pemo/ServiceApp.h>

#include <Poco/Event.h>
#include <Poco/Logger.h>

#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

namespace pemo {
namespace system {

StartupEvent::StartupEvent(int pid) : _name(pemo::ServiceApp::getStartupEventName(pid))
{
    discard(_name);
    _event = std::make_shared<Poco::NamedEvent>(_name);
}

StartupEvent::~StartupEvent()
{
    _event.reset();
    discard(_name);
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

// On Linux, Poco keeps a named event as a System V semaphore keyed by
// ftok() of "/tmp/<name>.event", and removes neither: without this every
// launch would leave one of each behind until the kernel's semaphore table
// is full and no child can be waited for any more.
void StartupEvent::discard(const std::string& name)
{
    const std::string file = "/tmp/" + name + ".event";
    const key_t key = ::ftok(file.c_str(), 'p');
    if (key == -1)
        return;
    const int id = ::semget(key, 1, 0);
    if (id != -1 && ::semctl(id, 0, IPC_RMID) == -1)
        Poco::Logger::get("SystemManager.Service.Monitor")
            .warning("Cannot remove the semaphore of " + name + ": " + std::strerror(errno) + "; it stays until reboot");
    if (::unlink(file.c_str()) == -1 && errno != ENOENT)
        Poco::Logger::get("SystemManager.Service.Monitor")
            .warning("Cannot remove " + file + ": " + std::strerror(errno) + "; it stays until reboot");
}

} // namespace system
} // namespace pemo
