#include "pemo/Session.h"

namespace pemo {

Session::Session(const std::string& token, const Permissions& permissions) : token(token), permissions(permissions)
{
}

} // namespace pemo
