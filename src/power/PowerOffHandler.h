#pragma once

#include "common/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class PowerManager;

/// POST /power/off: powers the device off after the shutdown warning.
class PowerOffHandler : public SystemHandler
{
public:
    /// powerManager may be null: every request is then answered 500 "No PowerManager running".
    explicit PowerOffHandler(std::shared_ptr<PowerManager> powerManager);
    ~PowerOffHandler() override;

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<PowerManager> _powerManager;
};

} // namespace system
} // namespace pemo
