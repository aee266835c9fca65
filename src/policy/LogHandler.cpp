#include "policy/LogHandler.h"

#include "common/HandlerContract.h"
#include "common/SystemUtil.h"

#include <Poco/NumberFormatter.h>

namespace pemo {
namespace system {

LogHandler::LogHandler() : SystemHandler("SystemManager.LogHandler")
{
}

LogHandler::~LogHandler() = default;

int LogHandler::rotate()
{
    const ProgramResult result =
        runProgram("/usr/sbin/logrotate", {"-f", "-v", "-s", "/var/run/logrotate.status", "/etc/logrotate.conf"},
                   ProgramOutput::INHERIT);
    if (result.exitCode != 0)
        logger().error("logrotate error: " + Poco::NumberFormatter::format(result.exitCode));
    return result.exitCode;
}

void LogHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().information("LogHandler POST");
    // A rotation of large logs can take a while: the client gets its 200 at
    // once and the outcome in the body, whose length is not known yet.
    response.setStatusAndReason(Response::HTTP_OK);
    response.setContentType("application/json");
    response.setChunkedTransferEncoding(true);
    std::ostream& body = response.send();

    const std::string result =
        rotate() == 0 ? HandlerContract::toJSON(cereal::make_nvp("result", std::string("success")))
                      : HandlerContract::toJSON(cereal::make_nvp("result", std::string("error")),
                                                cereal::make_nvp("error", std::string("logrotate failed")));
    body << result;
    body.flush();
}

} // namespace system
} // namespace pemo
