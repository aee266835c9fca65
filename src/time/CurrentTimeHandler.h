#pragma once

#include "common/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class TimeManager;

/// GET /time/current: the system clock in nanoseconds since the epoch.
class CurrentTimeHandler : public SystemHandler
{
public:
    /// timeManager may be null: every request is then answered 500 "No TimeManager running".
    explicit CurrentTimeHandler(std::shared_ptr<TimeManager> timeManager);
    ~CurrentTimeHandler() override;

    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<TimeManager> _timeManager;
};

} // namespace system
} // namespace pemo
