#pragma once

#include "common/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class TimeManager;

/// GET /time/zone answers the time zone; POST sets it.
class TimeZoneHandler : public SystemHandler
{
public:
    /// timeManager may be null: every request is then answered 500 "No TimeManager running".
    explicit TimeZoneHandler(std::shared_ptr<TimeManager> timeManager);
    ~TimeZoneHandler() override;

    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<TimeManager> _timeManager;
};

} // namespace system
} // namespace pemo
