#pragma once

#include "common/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class WifiManager;

/// GET /wifi/interface answers the wireless interface's addressing; POST rewrites it.
class WifiInterfaceHandler : public SystemHandler
{
public:
    /// wm may be null: every request is then answered 500 "Wireless device not available".
    explicit WifiInterfaceHandler(std::shared_ptr<WifiManager> wm);
    ~WifiInterfaceHandler() override;

    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<WifiManager> _wm;
};

} // namespace system
} // namespace pemo
