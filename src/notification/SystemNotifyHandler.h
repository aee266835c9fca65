#pragma once

#include "common/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class SystemNotifier;

/// POST /system_notify: queues a notification for the subscribers.
class SystemNotifyHandler : public SystemHandler
{
public:
    /// notify may be null: every request is then answered 500 "No SystemNotifier running".
    explicit SystemNotifyHandler(std::shared_ptr<SystemNotifier> notify);
    ~SystemNotifyHandler() override;

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<SystemNotifier> _notify;
};

} // namespace system
} // namespace pemo
