#include "notification/SystemNotifier.h"

#include <Poco/AutoPtr.h>
#include <Poco/Exception.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/ParseHandler.h>
#include <Poco/JSON/Parser.h>
#include <Poco/NumberFormatter.h>

#include <exception>
#include <sstream>

namespace pemo {
namespace system {

namespace {

// WebSocket frame flags: FIN set, opcode text.
const int FINAL_TEXT_FRAME = 129;
const long WAIT_MILLISECONDS = 1000;

// One queued notification: the text exactly as it was posted, because
// subscribers must receive it byte for byte.
class SysNotification : public Poco::Notification
{
public:
    explicit SysNotification(const std::string& data) : _data(data) {}
    const std::string& data() const { return _data; }

private:
    const std::string _data;
};

// Notification payloads may carry personal data; the log only ever sees the
// envelope. Throws whatever the JSON parser or writer throws.
std::string redact(const std::string& message)
{
    Poco::JSON::Parser parser(new Poco::JSON::ParseHandler(true));
    Poco::JSON::Object::Ptr object = parser.parse(message).extract<Poco::JSON::Object::Ptr>();
    object->set("data", std::string("**REDACTED**"));
    std::ostringstream out;
    object->stringify(out);
    return out.str();
}

} // namespace

SystemNotifier::SystemNotifier(pemo::Port& port)
    : _logger(Poco::Logger::get("SystemManager.SystemNotifier")), _notifyPort(port), _thread("SystemNotifier"),
      _shouldExit(true), _worker(*this)
{
}

SystemNotifier::~SystemNotifier()
{
    if (_thread.isRunning())
        stop();
}

void SystemNotifier::start()
{
    _logger.trace("SystemNotifier::start");
    _shouldExit = false;
    _thread.start(_worker);
}

void SystemNotifier::stop()
{
    _logger.trace("SystemNotifier::stop");
    _shouldExit = true;
    // The worker sees the flag after its current wait, at most a second on.
    if (_thread.isRunning())
        _thread.join();
}

bool SystemNotifier::notify(const std::string& message)
{
    return notify(message, Poco::Timestamp());
}

bool SystemNotifier::notify(const std::string& message, Poco::Timestamp when)
{
    if (_shouldExit)
    {
        _logger.warning("SystemNotifier::notify not sending '" + message + "' due to exit");
        return false;
    }
    // Checked before enqueueing, so the queue may reach MAX_QUEUED + 1.
    const int size = _queue.size();
    if (static_cast<std::size_t>(size) > MAX_QUEUED)
    {
        _logger.warning("SystemNotifier::notify not sending '" + message + "' due to queue size " +
                        Poco::NumberFormatter::format(size));
        return false;
    }
    _queue.enqueueNotification(new SysNotification(message), when);
    logEnqueued(message);
    return true;
}

std::size_t SystemNotifier::queued() const
{
    return static_cast<std::size_t>(_queue.size());
}

void SystemNotifier::logEnqueued(const std::string& message)
{
    std::string copy = message;
    try
    {
        copy = redact(message);
    }
    catch (const Poco::Exception& e)
    {
        _logger.warning("SystemNotifier::notify error redacting message: " + e.displayText());
    }
    catch (const std::exception& e)
    {
        _logger.warning("SystemNotifier::notify error redacting message: " + std::string(e.what()));
    }
    _logger.notice("SystemNotifier::notify enqueue '" + copy + "'");
}

SystemNotifier::Worker::Worker(SystemNotifier& owner) : _owner(owner)
{
}

// What was queued before the stop still goes out: the system stops this
// notifier after the managers whose last notifications (the exits of the
// skills they stopped, say) subscribers most need to hear.
void SystemNotifier::Worker::run()
{
    while (!_owner._shouldExit)
        send(Poco::AutoPtr<Poco::Notification>(_owner._queue.waitDequeueNotification(WAIT_MILLISECONDS)));
    for (;;)
    {
        Poco::AutoPtr<Poco::Notification> due(_owner._queue.dequeueNotification());
        if (!due)
            break;
        send(due);
    }
}

void SystemNotifier::Worker::send(Poco::AutoPtr<Poco::Notification> notification)
{
    const auto* message = dynamic_cast<const SysNotification*>(notification.get());
    if (message)
        send(message->data());
}

void SystemNotifier::Worker::send(const std::string& text)
{
    _owner._logger.trace("SystemNotifier::Worker send notification '" + text + "'");
    try
    {
        _owner._notifyPort.sendFrame(text.data(), static_cast<int>(text.size()), FINAL_TEXT_FRAME);
    }
    catch (const Poco::Exception& e)
    {
        // Only a frame above the port's limit fails here; the worker must go
        // on with the next one.
        _owner._logger.error("SystemNotifier::Worker could not send notification of " +
                             Poco::NumberFormatter::format(text.size()) + " bytes: " + e.displayText() +
                             "; dropped");
    }
}

} // namespace system
} // namespace pemo
