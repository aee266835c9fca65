#include "power/InputDevice.h"

#include "power/InputDeviceException.h"
#include "power/SelectTask.h"
#include "common/SystemUtil.h"

#include <Poco/Logger.h>
#include <Poco/Thread.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <limits>
#include <utility>

namespace pemo {
namespace system {

/// The reader thread and the decoding of its batches into key events.
class InputDeviceImpl
{
public:
    using KeyCallback = std::function<void(const KeyEvent&)>;

    InputDeviceImpl(std::string path, KeyCallback onKeyEvent)
        : _path(std::move(path)), _onKeyEvent(std::move(onKeyEvent)), _thread("InputDevice")
    {
    }

    void start()
    {
        _task = std::make_unique<SelectTask>(_path, [this](const SelectTask::Batch& batch) { onEvent(batch); });
        _thread.startFunc([this] { run(); });
    }

    void stop()
    {
        if (!_task)
            return;
        _task->cancel();
        _thread.join();
        _task.reset();
    }

private:
    void run()
    {
        try
        {
            _task->run();
        }
        catch (const InputDeviceException& e)
        {
            Poco::Logger::get("SystemManager.InputDevice")
                .error(std::string(e.what()) + "; no key of this device will be seen");
        }
    }

    // Whatever a handler throws is its own failure: the reader goes on.
    void onEvent(const SelectTask::Batch& batch)
    {
        const auto event = InputDevice::keyEventOf(batch);
        if (!event)
            return;
        try
        {
            _onKeyEvent(*event);
        }
        catch (const std::exception& e)
        {
            handlerFailed(describe(e));
        }
        catch (...)
        {
            handlerFailed("an exception of unknown type");
        }
    }

    static void handlerFailed(const std::string& why)
    {
        Poco::Logger::get("SystemManager.InputDevice").error("A key event's handler failed: " + why + "; reading on");
    }

    std::string _path;
    KeyCallback _onKeyEvent;
    Poco::Thread _thread;
    std::unique_ptr<SelectTask> _task;
};

InputDevice::InputDevice(const std::string& path)
    : _impl(std::make_unique<InputDeviceImpl>(path, [this](const KeyEvent& event) { onKeyEvent(event); }))
{
}

InputDevice::~InputDevice()
{
    stop();
}

void InputDevice::start()
{
    _impl->start();
}

void InputDevice::stop()
{
    _impl->stop();
}

void InputDevice::registerHandler(std::shared_ptr<Handler> handler)
{
    Poco::FastMutex::ScopedLock lock(_mutex);
    _handlers.push_back(std::move(handler));
}

void InputDevice::unregisterHandler(std::shared_ptr<Handler> handler)
{
    Poco::FastMutex::ScopedLock lock(_mutex);
    _handlers.erase(std::remove(_handlers.begin(), _handlers.end(), handler), _handlers.end());
}

void InputDevice::onKeyEvent(const KeyEvent& event)
{
    std::vector<std::shared_ptr<Handler>> handlers;
    {
        Poco::FastMutex::ScopedLock lock(_mutex);
        handlers = _handlers;
    }
    for (const auto& handler : handlers)
        handler->onKeyEvent(event);
}

std::optional<KeyEvent> InputDevice::keyEventOf(const std::vector<input_event>& batch)
{
    if (batch.empty())
        return std::nullopt;
    const input_event& first = batch.front();
    const input_event& last = batch.back();
    if (last.type != EV_SYN || first.type != EV_KEY || first.code != KEY_POWER)
        return std::nullopt;
    // A time no kernel hands out (past the year 2262, before 1678, or
    // microseconds outside a second), from a FIFO standing in for the
    // device, cannot be counted in nanoseconds: such a batch is no key event.
    constexpr std::int64_t maxSeconds = std::numeric_limits<std::int64_t>::max() / 1000000000 - 1;
    if (last.input_event_usec < 0 || last.input_event_usec >= 1000000 || last.input_event_sec > maxSeconds ||
        last.input_event_sec < -maxSeconds)
        return std::nullopt;
    const auto micros = static_cast<std::int64_t>(last.input_event_sec) * 1000000 + last.input_event_usec;
    const KeyEvent::TimePoint time{std::chrono::nanoseconds(micros * 1000)};
    // Only 1 is a press: an auto-repeat (2) counts as a release, so a held
    // key never re-arms anything.
    return KeyEvent(time, KeyEvent::POWER, first.value == 1);
}

} // namespace system
} // namespace pemo
