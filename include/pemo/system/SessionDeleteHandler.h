#pragma once

#include "pemo/system/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class SessionManager;

/// POST /session/delete: deletes a session and tells every service.
class SessionDeleteHandler : public SystemHandler
{
public:
    /// sm may be null: every request is then answered 500 "SessionManager not running".
    explicit SessionDeleteHandler(std::shared_ptr<SessionManager> sm);
    ~SessionDeleteHandler() override;

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<SessionManager> _sm;
};

} // namespace system
} // namespace pemo
