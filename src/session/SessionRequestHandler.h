#pragma once

#include "session/SessionHandler.h"

#include <memory>

namespace pemo {
namespace system {

/// GET /session/request: creates a session and answers it.
class SessionRequestHandler : public SessionHandler
{
public:
    /// sm may be null: every request is then answered 500 "SessionManager not running".
    explicit SessionRequestHandler(std::shared_ptr<SessionManager> sm);
    ~SessionRequestHandler() override;

    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
};

} // namespace system
} // namespace pemo
