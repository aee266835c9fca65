#include "common/SystemHandler.h"

namespace pemo {
namespace system {

SystemHandler::SystemHandler(const std::string& loggerName) : _logger(Poco::Logger::get(loggerName))
{
}

SystemHandler::~SystemHandler() = default;

bool SystemHandler::allows(const pemo::Permissions& held) const
{
    return pemo::Permissions::check(pemo::Permissions(true), held);
}

Poco::Logger& SystemHandler::logger() const
{
    return _logger;
}

} // namespace system
} // namespace pemo
