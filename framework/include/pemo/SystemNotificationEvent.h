#pragma once

#include <Poco/Notification.h>

#include <string>

namespace pemo {

/// One system notification received from the system manager's
/// "/system_notifications" port, as the text it was sent as.
class SystemNotificationEvent : public Poco::Notification
{
public:
    explicit SystemNotificationEvent(const std::string& text);
    const std::string& text() const;

private:
    std::string _text;
};

} // namespace pemo
