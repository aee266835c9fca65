#pragma once

#include <stdexcept>
#include <string>

namespace pemo {
namespace client {

/// pemoctl's exit statuses (the values of sysexits.h), so that a script can
/// tell why a command failed without reading its message.
enum ExitCode
{
    EXIT_OK = 0,
    EXIT_FAILED = 1,        ///< the user declined, or the outcome in an answer's body was a failure
    EXIT_USAGE = 2,         ///< the command line was wrong; nothing was sent
    EXIT_BAD_REQUEST = 65,  ///< the system manager refused the request as malformed (400 and other 4xx)
    EXIT_UNREACHABLE = 69,  ///< no answer: nothing listens, the connection broke or timed out
    EXIT_SERVER_ERROR = 70, ///< the system manager failed (5xx) or answered what pemoctl cannot read
    EXIT_REFUSED = 77,      ///< the token opens no such route (403)
};

/// A failure that ends pemoctl with its exit code; what() is the message
/// printed to standard error.
class ClientError : public std::runtime_error
{
public:
    ClientError(ExitCode code, const std::string& message);

    ExitCode code() const { return _code; }

    /// The exit code that an HTTP status other than 2xx stands for.
    static ExitCode forStatus(int status);

private:
    ExitCode _code;
};

/// A command line that passed parsing but makes no sense (an address that is
/// not one, data that is not JSON): exit code 2, before anything is sent.
class UsageError : public ClientError
{
public:
    explicit UsageError(const std::string& message) : ClientError(EXIT_USAGE, message) {}
};

} // namespace client
} // namespace pemo
