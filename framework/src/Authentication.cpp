#include "pemo/Authentication.h"

namespace pemo {

const std::string HTTP_HEADER_AUTHENTICATION("Pemo-Authenticate");
const std::string MANAGEMENT_AUTHENTICATION("wexlor");

} // namespace pemo
