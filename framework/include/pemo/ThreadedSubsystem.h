#pragma once

#include <Poco/Runnable.h>
#include <Poco/Thread.h>
#include <Poco/Util/Subsystem.h>

#include <atomic>
#include <string>

namespace pemo {

/// A subsystem that does its work on a thread of its own between start()
/// and stop(). run() must return soon after stopRequested() turns true.
class ThreadedSubsystem : public Poco::Util::Subsystem, protected Poco::Runnable
{
public:
    explicit ThreadedSubsystem(const std::string& name);
    ~ThreadedSubsystem() override;

    const char* name() const override;

    /// Starts run() on the subsystem's thread. Throws Poco::SystemException
    /// when it is already running.
    void start();
    /// Asks run() to return and joins the thread; harmless when not running.
    void stop();

protected:
    bool stopRequested() const;
    virtual void onStopRequested();

private:
    std::string _name;
    Poco::Thread _thread;
    std::atomic<bool> _stop;
};

} // namespace pemo
