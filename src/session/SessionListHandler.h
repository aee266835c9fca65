#pragma once

#include "session/SessionHandler.h"

#include <memory>

namespace pemo {
namespace system {

/// GET /session/list: the tokens of every session.
class SessionListHandler : public SessionHandler
{
public:
    /// sm may be null: every request is then answered 500 "SessionManager not running".
    explicit SessionListHandler(std::shared_ptr<SessionManager> sm);
    ~SessionListHandler() override;

    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
};

} // namespace system
} // namespace pemo
