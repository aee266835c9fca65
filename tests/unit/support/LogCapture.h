#pragma once

#include <Poco/AutoPtr.h>
#include <Poco/Channel.h>

#include <string>
#include <vector>

namespace pemo {
namespace test {

/// Collects the messages logged on one logger (at every priority) while it
/// lives, then gives the logger its channel and level back.
class LogCapture
{
public:
    explicit LogCapture(const std::string& logger);
    ~LogCapture();

    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> messages() const;
    bool contains(const std::string& text) const;
    /// The messages holding text, in the order they were logged.
    std::vector<std::string> containing(const std::string& text) const;

private:
    class Sink;
    std::string _logger;
    Poco::AutoPtr<Sink> _sink;
    Poco::AutoPtr<Poco::Channel> _previous;
    int _previousLevel;
};

} // namespace test
} // namespace pemo
