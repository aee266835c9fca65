#pragma once

#include <Poco/AutoPtr.h>
#include <Poco/Notification.h>

#include <string>

namespace pemo {
namespace system {

/// The overall state of the supervised services, posted by the service
/// monitor once per change.
class ServiceManagerNotification : public Poco::Notification
{
public:
    using Ptr = Poco::AutoPtr<ServiceManagerNotification>;

    enum Type
    {
        UNKNOWN = 0,  ///< some service is neither running nor confirmed
        STARTUP = 1,  ///< never posted; kept for the numbering
        READY = 2,    ///< every service running and confirmed
        RECOVERY = 3, ///< a service was relaunched or could not be probed
        SHUTDOWN = 4  ///< the supervisor is stopping every service
    };

    explicit ServiceManagerNotification(Type type);

    Type type() const;

protected:
    ~ServiceManagerNotification() override;

private:
    Type _type;
};

/// The enumerator's name: "UNKNOWN", "STARTUP", "READY", "RECOVERY" or
/// "SHUTDOWN".
std::string to_string(ServiceManagerNotification::Type type);

} // namespace system
} // namespace pemo
