#pragma once

#include "common/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class TimeManager;

/// POST /time/synchronize: synchronises the clocks over NTP.
class TimeSynchronizationHandler : public SystemHandler
{
public:
    /// timeManager may be null: every request is then answered 500 "No TimeManager running".
    explicit TimeSynchronizationHandler(std::shared_ptr<TimeManager> timeManager);
    ~TimeSynchronizationHandler() override;

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<TimeManager> _timeManager;
};

} // namespace system
} // namespace pemo
