#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace pemo {
namespace client {

/// A turning mark and the time elapsed, redrawn on standard error while a
/// long call waits, and wiped when it ends. Only on a terminal: with the
/// output piped it draws nothing.
class Spinner
{
public:
    /// Starts drawing label when enabled.
    Spinner(const std::string& label, bool enabled);
    ~Spinner();

    Spinner(const Spinner&) = delete;
    Spinner& operator=(const Spinner&) = delete;

    /// Whether standard output and standard error are both terminals.
    static bool wanted();

private:
    void run();

    std::string _label;
    std::mutex _mutex;
    std::condition_variable _wake;
    bool _stopping = false;
    std::thread _thread;
};

} // namespace client
} // namespace pemo
