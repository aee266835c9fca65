#include "service/ServiceManagerNotification.h"

namespace pemo {
namespace system {

ServiceManagerNotification::ServiceManagerNotification(Type type) : _type(type)
{
}

ServiceManagerNotification::~ServiceManagerNotification() = default;

ServiceManagerNotification::Type ServiceManagerNotification::type() const
{
    return _type;
}

std::string to_string(ServiceManagerNotification::Type type)
{
    switch (type)
    {
    case ServiceManagerNotification::UNKNOWN:
        return "UNKNOWN";
    case ServiceManagerNotification::STARTUP:
        return "STARTUP";
    case ServiceManagerNotification::READY:
        return "READY";
    case ServiceManagerNotification::RECOVERY:
        return "RECOVERY";
    case ServiceManagerNotification::SHUTDOWN:
        return "SHUTDOWN";
    }
    return "UNKNOWN";
}

} // namespace system
} // namespace pemo
