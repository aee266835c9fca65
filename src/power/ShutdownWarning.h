#pragma once

#include "common/JSON.h"

#include <pemo/SystemNotification.h>

#include <chrono>
#include <cstdint>

namespace pemo {
namespace system {

/// The type name of the system notification that warns every service of a
/// coming power off or reboot.
inline constexpr char ShutdownWarningType[] = "ShutdownWarning";

/// The data of a "ShutdownWarning": {"eta": whole milliseconds, "reason"}.
struct ShutdownWarningData
{
    enum Reason
    {
        ADMINISTRATIVE = 0,
        LOW_BATTERY = 1,
        POWER_BUTTON = 2
    };

    /// How long until the device goes down.
    std::chrono::nanoseconds eta{0};
    Reason reason = POWER_BUTTON;

    template <class Archive>
    void save(Archive& ar) const
    {
        const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(eta).count();
        ar(cereal::make_nvp("eta", static_cast<std::int64_t>(ms)),
           cereal::make_nvp("reason", static_cast<int>(reason)));
    }
};

using ShutdownWarning = pemo::SystemNotification<ShutdownWarningType, ShutdownWarningData>;

} // namespace system
} // namespace pemo
