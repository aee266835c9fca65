#include "power/SelectTask.h"

#include "power/InputDeviceException.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

namespace pemo {
namespace system {

namespace {

// The most records one read takes; the kernel never splits one.
const std::size_t RECORDS_PER_READ = 64;

} // namespace

SelectTask::SelectTask(std::string path, Callback callback)
    : _logger(Poco::Logger::get("SystemManager.InputDevice")), _path(std::move(path)), _callback(std::move(callback)),
      _fd(-1), _failing(false)
{
}

SelectTask::~SelectTask() = default;

void SelectTask::onStart()
{
    // Non-blocking so that a FIFO standing in for the device cannot hold
    // the start-up until a writer comes; reads happen only after select.
    _fd = ::open(_path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (_fd < 0)
        throw InputDeviceException("Could not open " + _path);
}

void SelectTask::work()
{
    if (_fd < 0)
    {
        reopen();
        return;
    }
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(_fd, &readable);
    timeval timeout{SELECT_TIMEOUT_MS / 1000, 0};
    const int ready = ::select(_fd + 1, &readable, nullptr, nullptr, &timeout);
    if (ready < 0 && errno != EINTR)
        fail("wait for", errno);
    else if (ready > 0)
        read();
}

// As often as a quiet wait would end: the thread neither spins nor delays a
// cancel by more than that.
void SelectTask::reopen()
{
    if (!sleep(SELECT_TIMEOUT_MS))
        return;
    _fd = ::open(_path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
}

void SelectTask::read()
{
    char buffer[RECORDS_PER_READ * sizeof(input_event)];
    const ssize_t got = ::read(_fd, buffer, sizeof(buffer));
    if (got < 0)
    {
        // Select reported it readable, so only an error of the device (an
        // unplugged one reads ENODEV) ends here, and it would stay readable.
        if (errno != EAGAIN && errno != EINTR)
            fail("read", errno);
        return;
    }
    if (got == 0)
    {
        // Only a FIFO whose writers all left reads as ended, and it stays
        // readable: wait as long as a quiet select would rather than spin.
        sleep(SELECT_TIMEOUT_MS);
        return;
    }
    if (_failing)
        _logger.information("Reading " + _path + " again");
    _failing = false;
    if (got < static_cast<ssize_t>(sizeof(input_event)))
        return;
    consume(buffer, static_cast<std::size_t>(got));
}

void SelectTask::fail(const std::string& step, int error)
{
    if (!_failing)
        _logger.error("Could not " + step + " " + _path + ": " + std::strerror(error) +
                      "; closing it and trying to open it again every " + std::to_string(SELECT_TIMEOUT_MS / 1000) +
                      " s");
    _failing = true;
    closeDevice();
    // A batch cut by the failure would be glued to the first records read
    // after it.
    _eventsSinceLastSyn.clear();
}

void SelectTask::closeDevice()
{
    if (_fd >= 0 && ::close(_fd) != 0)
        _logger.error("Could not close monitor " + _path + ": " + std::strerror(errno));
    _fd = -1;
}

void SelectTask::consume(const char* data, std::size_t size)
{
    // A trailing part of a record is dropped: the kernel hands out whole
    // records only.
    for (std::size_t offset = 0; offset + sizeof(input_event) <= size; offset += sizeof(input_event))
    {
        input_event event;
        std::memcpy(&event, data + offset, sizeof(event));
        _eventsSinceLastSyn.push_back(event);
        if (event.type != EV_SYN)
            continue;
        Batch batch;
        batch.swap(_eventsSinceLastSyn);
        _callback(batch);
    }
}

void SelectTask::onExit()
{
    closeDevice();
}

} // namespace system
} // namespace pemo
