#pragma once

#include "common/JSON.h"
#include "skill/Skill.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace pemo {
namespace system {

/// The snapshot the health report is written from. Whatever could not be
/// gathered stays at its empty value and is explained in errors.
class HealthReport
{
public:
    /// Space in use by one named storage area.
    struct Usage
    {
        std::string type;
        std::uint64_t size = 0;

        template <class Archive> void serialize(Archive& ar) { ar(CEREAL_NVP(type), CEREAL_NVP(size)); }
    };

    /// Outcome counts of one maintenance operation (backup, wipe, restore).
    struct Stats
    {
        using TimePoint = std::chrono::system_clock::time_point;

        TimePoint last_success;
        TimePoint last_failure;
        std::uint32_t successes = 0;
        std::uint32_t failures = 0;

        /// Time points are written as their nanosecond count since the
        /// clock's epoch.
        template <class Archive> void save(Archive& ar) const
        {
            ar(cereal::make_nvp("last_success", nanoseconds(last_success)),
               cereal::make_nvp("last_failure", nanoseconds(last_failure)), CEREAL_NVP(successes),
               CEREAL_NVP(failures));
        }

        static std::int64_t nanoseconds(TimePoint point)
        {
            return std::chrono::duration_cast<std::chrono::nanoseconds>(point.time_since_epoch()).count();
        }
    };

    std::string timezone;
    std::vector<Skill> skills;
    std::vector<Usage> usage;
    Stats backup;
    Stats wipe;
    Stats restore;
    std::vector<std::string> errors;

    /// The report as one pretty-printed JSON object, members in the order
    /// above. Throws cereal::Exception when it cannot be written.
    std::string toJSON() const;
};

} // namespace system
} // namespace pemo
