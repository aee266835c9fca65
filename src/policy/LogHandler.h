#pragma once

#include "common/SystemHandler.h"

namespace pemo {
namespace system {

/// POST /logs/upload: rotates the system's logs at once by running logrotate.
class LogHandler : public SystemHandler
{
public:
    LogHandler();
    ~LogHandler() override;

    /// Runs logrotate once, forced and verbose, and waits for it. Returns its
    /// exit status (0 for success; -1 when it could not be started); a
    /// non-zero status is logged.
    int rotate();

    /// Always 200: {"result": "success"}, or {"result": "error", "error":
    /// "logrotate failed"}. The header goes out before logrotate runs, so the
    /// body is chunked.
    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
};

} // namespace system
} // namespace pemo
