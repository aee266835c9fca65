#include "Spinner.h"

#include <chrono>
#include <cstdio>
#include <unistd.h>

namespace pemo {
namespace client {

Spinner::Spinner(const std::string& label, bool enabled) : _label(label)
{
    if (enabled)
        _thread = std::thread([this] { run(); });
}

Spinner::~Spinner()
{
    if (!_thread.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _stopping = true;
    }
    _wake.notify_all();
    _thread.join();
}

bool Spinner::wanted()
{
    return isatty(STDOUT_FILENO) == 1 && isatty(STDERR_FILENO) == 1;
}

void Spinner::run()
{
    static const char marks[] = "|/-\\";
    const auto start = std::chrono::steady_clock::now();
    std::unique_lock<std::mutex> lock(_mutex);
    for (unsigned turn = 0; !_stopping; ++turn)
    {
        const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        std::fprintf(stderr, "\r%c %s %.1f s ", marks[turn % 4], _label.c_str(), elapsed);
        std::fflush(stderr);
        _wake.wait_for(lock, std::chrono::milliseconds(100), [this] { return _stopping; });
    }
    // Erases the line, so that what is printed next starts clean.
    std::fprintf(stderr, "\r\033[K");
    std::fflush(stderr);
}

} // namespace client
} // namespace pemo
