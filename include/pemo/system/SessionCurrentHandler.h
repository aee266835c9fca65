#pragma once

#include "pemo/system/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class SessionManager;

/// GET /session/current answers the current session; POST selects one.
class SessionCurrentHandler : public SystemHandler
{
public:
    /// sm may be null: every request is then answered 500 "SessionManager not running".
    explicit SessionCurrentHandler(std::shared_ptr<SessionManager> sm);
    ~SessionCurrentHandler() override;

    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<SessionManager> _sm;
};

} // namespace system
} // namespace pemo
