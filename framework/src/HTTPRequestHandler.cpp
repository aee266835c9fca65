#include "pemo/HTTPRequestHandler.h"

namespace pemo {

HTTPRequestHandler::~HTTPRequestHandler() = default;

bool HTTPRequestHandler::allows(const Permissions&) const
{
    return false;
}

void HTTPRequestHandler::methodNotAllowed(Response& response)
{
    response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_METHOD_NOT_ALLOWED);
    response.setContentLength(0);
    response.send();
}

void HTTPRequestHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    methodNotAllowed(response);
}

void HTTPRequestHandler::head(Request&, Response& response, const Captures&, SessionPtr)
{
    methodNotAllowed(response);
}

void HTTPRequestHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    methodNotAllowed(response);
}

void HTTPRequestHandler::put(Request&, Response& response, const Captures&, SessionPtr)
{
    methodNotAllowed(response);
}

void HTTPRequestHandler::del(Request&, Response& response, const Captures&, SessionPtr)
{
    methodNotAllowed(response);
}

void HTTPRequestHandler::trace(Request&, Response& response, const Captures&, SessionPtr)
{
    methodNotAllowed(response);
}

void HTTPRequestHandler::options(Request&, Response& response, const Captures&, SessionPtr)
{
    methodNotAllowed(response);
}

void HTTPRequestHandler::connect(Request&, Response& response, const Captures&, SessionPtr)
{
    methodNotAllowed(response);
}

} // namespace pemo
