#include "LogCapture.h"

#include <Poco/Logger.h>
#include <Poco/Message.h>

#include <mutex>

namespace pemo {
namespace test {

class LogCapture::Sink : public Poco::Channel
{
public:
    void log(const Poco::Message& message) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        messages.push_back(message.getText());
    }

    mutable std::mutex mutex;
    std::vector<std::string> messages;
};

LogCapture::LogCapture(const std::string& logger) : _logger(logger), _sink(new Sink)
{
    Poco::Logger& target = Poco::Logger::get(_logger);
    _previous = Poco::AutoPtr<Poco::Channel>(target.getChannel(), true);
    _previousLevel = target.getLevel();
    target.setChannel(_sink);
    target.setLevel(Poco::Message::PRIO_TRACE);
}

LogCapture::~LogCapture()
{
    Poco::Logger& target = Poco::Logger::get(_logger);
    target.setChannel(_previous);
    target.setLevel(_previousLevel);
}

std::vector<std::string> LogCapture::messages() const
{
    std::lock_guard<std::mutex> lock(_sink->mutex);
    return _sink->messages;
}

bool LogCapture::contains(const std::string& text) const
{
    return !containing(text).empty();
}

std::vector<std::string> LogCapture::containing(const std::string& text) const
{
    std::vector<std::string> found;
    for (const auto& message : messages())
    {
        if (message.find(text) != std::string::npos)
            found.push_back(message);
    }
    return found;
}

} // namespace test
} // namespace pemo
