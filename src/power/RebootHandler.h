#pragma once

#include "common/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class PowerManager;

/// POST /power/reboot: reboots the device after the shutdown warning.
class RebootHandler : public SystemHandler
{
public:
    /// powerManager may be null: every request is then answered 500 "No PowerManager running".
    explicit RebootHandler(std::shared_ptr<PowerManager> powerManager);
    ~RebootHandler() override;

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<PowerManager> _powerManager;
};

} // namespace system
} // namespace pemo
