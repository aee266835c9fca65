#pragma once

#include <cereal/cereal.hpp>
#include <cereal/details/helpers.hpp>
#include <cereal/types/vector.hpp>
#include <cereal/types/string.hpp>

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace pemo {

/// The channel a system notification is published on.
enum class NotificationChannel
{
    GENERAL = 0,
    NETWORK = 1,
    POWER_MANAGEMENT = 2,
    HARDWARE_FAULT = 3,
    MOTION = 4,
    SKILL = 5,
    ERROR = 6
};

/// The channel's name as written in a notification. Throws
/// cereal::Exception ("Unhandled NotificationChannel " + value) for a value
/// outside the enumeration.
std::string to_string(NotificationChannel channel);

/// One notification of type Type (a character string naming it) carrying
/// Data. Written as {"type", "channel", "ts": [seconds, microseconds],
/// "data"}; ts is the publisher's steady clock.
template <const char* Type, class Data>
class SystemNotification
{
public:
    using Clock = std::chrono::steady_clock;
    using TimePoint = std::chrono::time_point<Clock, std::chrono::nanoseconds>;

    /// An uninitialised notification; writing it throws std::logic_error.
    SystemNotification() : _initialized(false), _channel(NotificationChannel::GENERAL), _ts(), _data() {}

    SystemNotification(NotificationChannel channel, const Data& data, TimePoint ts = Clock::now())
        : _initialized(true), _channel(channel), _ts(ts), _data(data)
    {
    }

    static const std::string& type()
    {
        static const std::string name(Type);
        return name;
    }

    NotificationChannel channel() const { return _channel; }
    TimePoint ts() const { return _ts; }
    const Data& data() const { return _data; }

    /// Throws std::logic_error("SystemNotification: uninitialized") unless
    /// the notification was built with a channel and data.
    void checkInitialized() const
    {
        if (!_initialized)
            throw std::logic_error("SystemNotification: uninitialized");
    }

    template <class Archive>
    void save(Archive& ar) const
    {
        ar(cereal::make_nvp("type", type()));
        ar(cereal::make_nvp("channel", to_string(_channel)));
        checkInitialized();
        const std::int64_t ns = _ts.time_since_epoch().count();
        const std::vector<std::int64_t> ts{ns / 1000000000, (ns % 1000000000) / 1000};
        ar(cereal::make_nvp("ts", ts));
        checkInitialized();
        ar(cereal::make_nvp("data", _data));
    }

private:
    bool _initialized;
    NotificationChannel _channel;
    TimePoint _ts;
    Data _data;
};

} // namespace pemo
