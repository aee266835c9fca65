#include "pemo/ThreadedSubsystem.h"

#include <Poco/Exception.h>

namespace pemo {

ThreadedSubsystem::ThreadedSubsystem(const std::string& name) : _name(name), _thread(name), _stop(false)
{
}

ThreadedSubsystem::~ThreadedSubsystem()
{
    stop();
}

const char* ThreadedSubsystem::name() const
{
    return _name.c_str();
}

void ThreadedSubsystem::start()
{
    if (_thread.isRunning())
        throw Poco::SystemException(_name + " is already running");
    _stop = false;
    _thread.start(*this);
}

void ThreadedSubsystem::stop()
{
    if (!_thread.isRunning())
        return;
    _stop = true;
    onStopRequested();
    _thread.join();
}

bool ThreadedSubsystem::stopRequested() const
{
    return _stop;
}

void ThreadedSubsystem::onStopRequested()
{
}

} // namespace pemo
