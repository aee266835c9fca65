#pragma once

#include <string>

namespace pemo {

/// The request header that carries the caller's session token.
extern const std::string HTTP_HEADER_AUTHENTICATION;

/// The fixed value services send on the "/_M_/" management routes.
extern const std::string MANAGEMENT_AUTHENTICATION;

} // namespace pemo
