#pragma once

#include <Poco/AutoPtr.h>
#include <Poco/Channel.h>
#include <Poco/Logger.h>
#include <Poco/Message.h>

#include <mutex>
#include <string>
#include <vector>

namespace pemo {
namespace test {

/// Collects the messages logged on one logger (at every priority) while it
/// lives, then gives the logger its channel and level back.
class LogCapture
{
public:
    explicit LogCapture(const std::string& logger)
        : _logger(Poco::Logger::get(logger)), _sink(new Sink), _previous(_logger.getChannel(), true),
          _previousLevel(_logger.getLevel())
    {
        _logger.setChannel(_sink);
        _logger.setLevel(Poco::Message::PRIO_TRACE);
    }
    ~LogCapture()
    {
        _logger.setChannel(_previous);
        _logger.setLevel(_previousLevel);
        // A Logger does not lock its channel: a thread of the code under test
        // may still be inside the sink's log(). Sinks live until the process ends.
        static std::mutex retiredMutex;
        static std::vector<Poco::AutoPtr<Sink>> retired;
        std::lock_guard<std::mutex> lock(retiredMutex);
        retired.push_back(_sink);
    }

    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> messages() const
    {
        std::lock_guard<std::mutex> lock(_sink->mutex);
        return _sink->messages;
    }
    bool contains(const std::string& text) const { return !containing(text).empty(); }
    /// The messages holding text, in the order they were logged.
    std::vector<std::string> containing(const std::string& text) const
    {
        std::vector<std::string> found;
        for (const auto& message : messages())
            if (message.find(text) != std::string::npos)
                found.push_back(message);
        return found;
    }

private:
    struct Sink : Poco::Channel
    {
        void log(const Poco::Message& message) override
        {
            std::lock_guard<std::mutex> lock(mutex);
            messages.push_back(message.getText());
        }
        mutable std::mutex mutex;
        std::vector<std::string> messages;
    };

    Poco::Logger& _logger;
    Poco::AutoPtr<Sink> _sink;
    Poco::AutoPtr<Poco::Channel> _previous;
    int _previousLevel;
};

} // namespace test
} // namespace pemo
