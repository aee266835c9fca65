#pragma once

#include <Poco/Logger.h>
#include <Poco/Pipe.h>
#include <Poco/Runnable.h>
#include <Poco/Thread.h>

#include <atomic>
#include <optional>
#include <string>

namespace pemo {
namespace util {

/// Drains a child's output pipe into a logger, one information line per
/// output line, each prefixed, so a chatty child never blocks on a full
/// pipe. Lines longer than 4096 bytes are logged in pieces.
class PipeCleaner : private Poco::Runnable
{
public:
    explicit PipeCleaner(Poco::Logger& logger);
    ~PipeCleaner() override;

    PipeCleaner(const PipeCleaner&) = delete;
    PipeCleaner& operator=(const PipeCleaner&) = delete;

    /// Starts draining pipe (its read end) on the cleaner's own thread,
    /// stopping a previous run first.
    void start(const Poco::Pipe& pipe, const std::string& prefix);
    /// Logs what is left, stops reading and joins the thread. Harmless when
    /// not started. Returns within about 100 ms even if the write end stays
    /// open elsewhere. Until then the thread sleeps while the pipe is quiet:
    /// an idle child costs no wake-ups.
    void stop();

private:
    void run() override;
    void flushLine(std::string& line);

    Poco::Logger& _logger;
    std::optional<Poco::Pipe> _pipe;
    std::string _prefix;
    Poco::Thread _thread;
    std::atomic<bool> _stop;
    /// Readable once stop() is asked; wakes the thread from its wait.
    int _wake = -1;
};

} // namespace util
} // namespace pemo
