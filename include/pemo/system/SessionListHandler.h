#pragma once

#include "pemo/system/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class SessionManager;

/// GET /session/list: the tokens of every session.
class SessionListHandler : public SystemHandler
{
public:
    /// sm may be null: every request is then answered 500 "SessionManager not running".
    explicit SessionListHandler(std::shared_ptr<SessionManager> sm);
    ~SessionListHandler() override;

    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<SessionManager> _sm;
};

} // namespace system
} // namespace pemo
