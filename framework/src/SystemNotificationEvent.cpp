#include "pemo/SystemNotificationEvent.h"

namespace pemo {

SystemNotificationEvent::SystemNotificationEvent(const std::string& text) : _text(text)
{
}

const std::string& SystemNotificationEvent::text() const
{
    return _text;
}

} // namespace pemo
