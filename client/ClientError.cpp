#include "ClientError.h"

namespace pemo {
namespace client {

ClientError::ClientError(ExitCode code, const std::string& message) : std::runtime_error(message), _code(code)
{
}

ExitCode ClientError::forStatus(int status)
{
    if (status == 403)
        return EXIT_REFUSED;
    if (status >= 400 && status < 500)
        return EXIT_BAD_REQUEST;
    return EXIT_SERVER_ERROR;
}

} // namespace client
} // namespace pemo
