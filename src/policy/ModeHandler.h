#pragma once

#include "common/SystemHandler.h"

namespace pemo {
namespace system {

/// GET /mode answers the device's operating mode; POST {"mode": ...}
/// switches it. The mode lives outside the daemon, so every request runs the
/// mode programs afresh and a change made elsewhere is seen at once.
class ModeHandler : public SystemHandler
{
public:
    ModeHandler();
    ~ModeHandler() override;

    /// 200 {"mode": ...}; 500 "Could not read mode" when the mode program
    /// fails or prints nothing.
    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
    /// 204 once the mode is set; 400 "Malformed arguments" for a body
    /// without a string "mode"; 400 "Could not set mode to <mode>" when the
    /// mode program refuses.
    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
};

} // namespace system
} // namespace pemo
