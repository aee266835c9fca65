#include "pemo/util/PipeCleaner.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace pemo {
namespace util {

namespace {

constexpr std::size_t MAX_LINE = 4096;
constexpr int POLL_MS = 100;

} // namespace

PipeCleaner::PipeCleaner(Poco::Logger& logger) : _logger(logger), _stop(false)
{
}

PipeCleaner::~PipeCleaner()
{
    stop();
}

void PipeCleaner::start(const Poco::Pipe& pipe, const std::string& prefix)
{
    stop();
    _pipe = pipe;
    _prefix = prefix;
    _stop = false;
    _wake = eventfd(0, EFD_CLOEXEC);
    // "demo-alpha: " names the drain of demo-alpha's output in a debugger.
    _thread.setName("PipeCleaner " + prefix.substr(0, prefix.find_last_not_of(": ") + 1));
    _thread.start(*this);
}

void PipeCleaner::stop()
{
    if (!_pipe)
        return;
    _stop = true;
    const std::uint64_t one = 1;
    if (_wake >= 0 && ::write(_wake, &one, sizeof one) < 0)
        _logger.warning(_prefix + "cannot wake the output drain: " + std::strerror(errno) + "; it notices within 100 ms");
    _thread.join();
    if (_wake >= 0)
        ::close(_wake);
    _wake = -1;
    _pipe->close(Poco::Pipe::CLOSE_READ);
    _pipe.reset();
}

// Waits on the pipe and the wake-up descriptor without a time-out, so that
// stop() can end the loop even when a grandchild still holds the write end;
// once stop() is asked, what is already in the pipe is still drained until
// it has been quiet for one poll interval. Without an event descriptor it
// falls back to polling every interval.
void PipeCleaner::run()
{
    const int fd = _pipe->readHandle();
    std::string line;
    char buffer[1024];
    for (;;)
    {
        pollfd pfd[2] = {{fd, POLLIN, 0}, {_wake, POLLIN, 0}};
        const bool waitForever = !_stop && _wake >= 0;
        const int ready = ::poll(pfd, waitForever ? 2 : 1, waitForever ? -1 : POLL_MS);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready < 0)
        {
            _logger.error(_prefix + "poll on output pipe failed: " + std::strerror(errno) + "; no longer logged");
            break;
        }
        if (ready == 0 || pfd[0].revents == 0)
        {
            if (ready == 0 && _stop)
                break;
            continue;
        }
        const ssize_t n = ::read(fd, buffer, sizeof(buffer));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        for (ssize_t i = 0; i < n; ++i)
        {
            if (buffer[i] == '\n')
                flushLine(line);
            else if (line.push_back(buffer[i]), line.size() >= MAX_LINE)
                flushLine(line);
        }
    }
    flushLine(line);
}

void PipeCleaner::flushLine(std::string& line)
{
    if (line.empty())
        return;
    _logger.information(_prefix + line);
    line.clear();
}

} // namespace util
} // namespace pemo
