#pragma once

#include "Settings.h"

#include <string>

namespace pemo {
namespace client {

/// One answer of the system manager.
struct Answer
{
    int status = 0;
    std::string reason;
    std::string body;

    bool ok() const { return status >= 200 && status < 300; }
    /// "status reason", as refusals are reported.
    std::string statusLine() const { return std::to_string(status) + " " + reason; }
};

/// The system manager's HTTP API: one request per connection, with the
/// token of the settings in the Pemo-Authenticate header.
class ApiClient
{
public:
    /// How long a request may wait for its answer.
    enum Wait
    {
        ORDINARY, ///< the settings' timeout, else 60 s
        LONG,     ///< the settings' timeout, else none: downloads and installs take what they take
    };

    explicit ApiClient(const Settings& settings);

    /// Sends one request (a body, when not empty, as application/json) and
    /// reads the whole answer, whatever its status. Throws ClientError with
    /// EXIT_UNREACHABLE when there is no answer.
    Answer request(const std::string& method, const std::string& path, const std::string& body = "",
                   Wait wait = ORDINARY) const;

    /// request(), and a ClientError naming the request, the status and the
    /// reason phrase when the status is not 2xx.
    Answer expect(const std::string& method, const std::string& path, const std::string& body = "",
                  Wait wait = ORDINARY) const;

    /// The refusal of an answer that is not 2xx, for a request described as
    /// what ("GET /mode").
    static void check(const Answer& answer, const std::string& what);

    const Settings& settings() const { return _settings; }

private:
    Settings _settings;
};

} // namespace client
} // namespace pemo
