#pragma once

#include "session/SessionHandler.h"

#include <memory>

namespace pemo {
namespace system {

/// GET /session/current answers the current session; POST selects one.
class SessionCurrentHandler : public SessionHandler
{
public:
    /// sm may be null: every request is then answered 500 "SessionManager not running".
    explicit SessionCurrentHandler(std::shared_ptr<SessionManager> sm);
    ~SessionCurrentHandler() override;

    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
};

} // namespace system
} // namespace pemo
