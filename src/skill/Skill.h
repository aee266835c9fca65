#pragma once

#include "common/JSON.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace pemo {
namespace system {

/// One catalogued skill as callers see it.
struct Skill
{
    using Clock = std::chrono::steady_clock;

    std::string name;
    /// The skill's directory.
    std::string path;
    std::string version;
    bool running = false;
    /// Monotonic time of the last launch; the clock's epoch when never
    /// launched.
    Clock::time_point lastStartTime;

    /// lastStartTime is written as [whole seconds, remaining microseconds]
    /// of the monotonic clock: time since boot, not wall time.
    template <class Archive> void save(Archive& ar) const
    {
        const std::int64_t us =
            std::chrono::duration_cast<std::chrono::microseconds>(lastStartTime.time_since_epoch()).count();
        const std::vector<std::int64_t> start{us / 1000000, us % 1000000};
        ar(CEREAL_NVP(name), CEREAL_NVP(path), CEREAL_NVP(version), CEREAL_NVP(running),
           cereal::make_nvp("lastStartTime", start));
    }
};

} // namespace system
} // namespace pemo
