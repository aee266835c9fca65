#pragma once

#include "session/SessionHandler.h"

#include <memory>

namespace pemo {
namespace system {

/// POST /session/delete: deletes a session and tells every service.
class SessionDeleteHandler : public SessionHandler
{
public:
    /// sm may be null: every request is then answered 500 "SessionManager not running".
    explicit SessionDeleteHandler(std::shared_ptr<SessionManager> sm);
    ~SessionDeleteHandler() override;

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
};

} // namespace system
} // namespace pemo
