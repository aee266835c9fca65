#pragma once

#include "common/SystemHandler.h"

#include <memory>
#include <string>

namespace pemo {
namespace system {

class SessionManager;

/// What the four session endpoints share: the session manager, which may
/// be absent, and the body {"session": token} of delete and select.
class SessionHandler : public SystemHandler
{
public:
    ~SessionHandler() override;

protected:
    /// sm may be null: every request is then answered 500 "SessionManager not running".
    SessionHandler(const std::string& loggerName, std::shared_ptr<SessionManager> sm);

    /// False, with the request answered 500, when there is no manager.
    bool running(Response& response) const;

    /// Reads the whole body, checks the manager and reads the "session"
    /// token. False when the request has been answered.
    bool readToken(Request& request, Response& response, const std::string& operation, std::string& token) const;

    /// 204 when every service was told of the change; 500 "Failed to
    /// communicate to other services" otherwise.
    static void answerTold(Response& response, bool told);

    std::shared_ptr<SessionManager> _sm;
};

} // namespace system
} // namespace pemo
