#include "common/HandlerContract.h"

namespace pemo {
namespace system {

const std::string HandlerContract::MALFORMED_ARGUMENTS("Malformed arguments");

void HandlerContract::sendError(Poco::Net::HTTPServerResponse& response, Status status, const std::string& reason)
{
    response.setStatusAndReason(status, reason);
    response.setContentLength(0);
    // Out now, not when the server is done with the request: it may still
    // have to drop a body the caller is sending.
    response.send().flush();
}

void HandlerContract::sendError(Poco::Net::HTTPServerResponse& response, Status status)
{
    sendError(response, status, Poco::Net::HTTPResponse::getReasonForStatus(status));
}

void HandlerContract::sendNoContent(Poco::Net::HTTPServerResponse& response)
{
    response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_NO_CONTENT);
    response.setContentLength(0);
    response.send().flush();
}

void HandlerContract::sendJSON(Poco::Net::HTTPServerResponse& response, const std::string& body)
{
    response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_OK);
    response.setContentType("application/json");
    // sendBuffer sets the content length and writes header and body in one go.
    response.sendBuffer(body.data(), body.size());
}

std::string HandlerContract::readBody(std::istream& in)
{
    return pemo::BodyReader::read(in);
}

} // namespace system
} // namespace pemo
