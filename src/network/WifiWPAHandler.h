#pragma once

#include "common/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class WifiManager;

/// POST /wifi/wpa: passes one control command to wpa_supplicant and answers its reply.
class WifiWPAHandler : public SystemHandler
{
public:
    /// wm may be null: every request is then answered 500 "Wireless device not available".
    explicit WifiWPAHandler(std::shared_ptr<WifiManager> wm);
    ~WifiWPAHandler() override;

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<WifiManager> _wm;
};

} // namespace system
} // namespace pemo
