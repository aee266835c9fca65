#pragma once

#include "common/JSON.h"

#include <pemo/SystemNotification.h>

#include <string>

namespace pemo {
namespace system {

/// The type name of the system notification that announces a skill's start
/// or exit.
inline constexpr char SkillNotificationType[] = "SkillNotification";

/// The data of a "SkillNotification": {"skill", "reason", "code"}.
struct SkillNotificationData
{
    enum Reason
    {
        STARTED = 0,
        EXITED = 1
    };

    std::string skill;
    Reason reason = STARTED;
    /// The exit code; 0 for a start.
    int code = 0;

    /// reason is written as its number.
    template <class Archive>
    void save(Archive& ar) const
    {
        ar(cereal::make_nvp("skill", skill), cereal::make_nvp("reason", static_cast<int>(reason)),
           cereal::make_nvp("code", code));
    }
};

using SkillNotification = pemo::SystemNotification<SkillNotificationType, SkillNotificationData>;

} // namespace system
} // namespace pemo
