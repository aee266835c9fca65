#include "pemo/util/Worker.h"

namespace pemo {
namespace util {

Worker::Worker() : _cancelled(false), _wakeUp(Poco::Event::EVENT_MANUALRESET)
{
}

Worker::~Worker() = default;

void Worker::onStart()
{
}

void Worker::onCancel()
{
}

void Worker::onExit()
{
}

void Worker::run()
{
    onStart();
    while (!isCancelled())
        work();
    onCancel();
    onExit();
}

void Worker::cancel()
{
    _cancelled = true;
    _wakeUp.set();
}

bool Worker::isCancelled() const
{
    return _cancelled;
}

bool Worker::sleep(long milliseconds)
{
    return !_wakeUp.tryWait(milliseconds);
}

} // namespace util
} // namespace pemo
