#include "pemo/SystemNotification.h"

#include <cereal/details/helpers.hpp>

namespace pemo {

std::string to_string(NotificationChannel channel)
{
    switch (channel)
    {
    case NotificationChannel::GENERAL: return "GENERAL";
    case NotificationChannel::NETWORK: return "NETWORK";
    case NotificationChannel::POWER_MANAGEMENT: return "POWER_MANAGEMENT";
    case NotificationChannel::HARDWARE_FAULT: return "HARDWARE_FAULT";
    case NotificationChannel::MOTION: return "MOTION";
    case NotificationChannel::SKILL: return "SKILL";
    case NotificationChannel::ERROR: return "ERROR";
    }
    throw cereal::Exception("Unhandled NotificationChannel " + std::to_string(static_cast<int>(channel)));
}

} // namespace pemo
