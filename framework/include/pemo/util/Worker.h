#pragma once

#include <Poco/Event.h>
#include <Poco/Runnable.h>

#include <atomic>

namespace pemo {
namespace util {

/// A cancellable work loop: run() calls onStart(), then work() over and
/// over until cancel() is called, then onCancel() and onExit(), all on the
/// thread that runs it. sleep() lets work() wait without delaying a cancel.
class Worker : public Poco::Runnable
{
public:
    Worker();
    ~Worker() override;

    virtual void onStart();
    /// The shut-down path: runs once, on the worker's thread, after the
    /// last work() when the worker was cancelled.
    virtual void onCancel();
    virtual void work() = 0;
    virtual void onExit();

    void run() override;

    /// Asks the loop to end and wakes a pending sleep(). Thread-safe.
    void cancel();
    bool isCancelled() const;

protected:
    /// Waits up to milliseconds; false when woken early by cancel().
    bool sleep(long milliseconds);

private:
    std::atomic<bool> _cancelled;
    Poco::Event _wakeUp;
};

} // namespace util
} // namespace pemo
