#include "RequestDispatcher.h"

#include "BoundedRequest.h"
#include "ConnectionRequest.h"
#include "ManagementHandler.h"
#include "SanitizingResponse.h"
#include "ServiceCoreImpl.h"

#include "pemo/Authentication.h"
#include "pemo/BoundedInputStream.h"
#include "pemo/ServiceCore.h"

#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/NetException.h>

#include <algorithm>
#include <limits>


namespace pemo {

using Poco::Net::HTTPRequest;
using Poco::Net::HTTPResponse;
using Poco::Net::HTTPServerRequest;
using Poco::Net::HTTPServerResponse;

namespace {

void reply(HTTPServerResponse& response, HTTPResponse::HTTPStatus status)
{
    response.setStatusAndReason(status);
    response.setContentLength(0);
    response.send().flush();
}

bool isWebSocketUpgrade(const HTTPServerRequest& request)
{
    return Poco::icompare(request.get("Upgrade", ""), "websocket") == 0;
}

// Only a body served in-process can get here: the server bounds a
// connection's body before it reaches a worker.
void refuseBody(HTTPServerResponse& response)
{
    response.setKeepAlive(false);
    reply(response, HTTPResponse::HTTP_REQUEST_ENTITY_TOO_LARGE);
}

} // namespace

RequestDispatcher::RequestDispatcher(ServiceCore& core, ServiceCoreImpl& impl, const Poco::URI& uri)
    : _core(core), _impl(impl), _uri(uri)
{
}

// Nothing a handler throws may take the connection thread down; the caller
// gets a 500 when no answer has gone out yet.
void RequestDispatcher::handleRequest(HTTPServerRequest& request, HTTPServerResponse& response)
{
    try
    {
        dispatch(request, response);
    }
    catch (const BodyTooLargeException& e)
    {
        _impl.logger.warning("Refused the body of " + request.getMethod() + " " + _uri.getPath() + ": " +
                             e.displayText() + "; answering 413 and closing the connection");
        if (!response.sent())
            refuseBody(response);
    }
    catch (const std::exception& e)
    {
        _impl.logger.error("Unhandled exception serving " + request.getMethod() + " " + request.getURI() + ": " +
                           e.what() + "; answering 500");
        if (!response.sent())
            reply(response, HTTPResponse::HTTP_INTERNAL_SERVER_ERROR);
    }
}

// Handlers see the request and response through wrappers that bound the
// body and keep caller text out of the response head; only a port, which
// takes the connection over, gets the server's own.
void RequestDispatcher::dispatch(HTTPServerRequest& request, HTTPServerResponse& response)
{
    if (request.hasContentLength() && request.getContentLength64() > static_cast<Poco::Int64>(_impl.maxBody))
        throw BodyTooLargeException("declared " + std::to_string(request.getContentLength64()) + " bytes");
    const std::string& path = _uri.getPath();
    SanitizingResponse guardedResponse(response);
    BoundedRequest guardedRequest(request, guardedResponse, _impl.maxBody);
    if (ManagementHandler::handles(path))
    {
        ManagementHandler(_core, _impl.sessions, _impl.logger).handle(path, guardedRequest, guardedResponse);
        return;
    }
    const RouteTable::Match match = _impl.routes.match(path);
    if (!match.handler && !match.port)
        return reply(response, HTTPResponse::HTTP_NOT_FOUND);
    auto session = _impl.sessions.resolve(request.get(HTTP_HEADER_AUTHENTICATION, ""));
    if (match.port)
    {
        if (!Permissions::check(Permissions(true), session->permissions))
            return reply(response, HTTPResponse::HTTP_FORBIDDEN);
        return subscribe(*match.port, request, response);
    }
    if (!match.handler->allows(session->permissions))
        return reply(response, HTTPResponse::HTTP_FORBIDDEN);
    callMethod(*match.handler, guardedRequest, guardedResponse, match.captures, session);
}

void RequestDispatcher::subscribe(Port& port, HTTPServerRequest& request, HTTPServerResponse& response)
{
    if (!isWebSocketUpgrade(request))
        return reply(response, HTTPResponse::HTTP_BAD_REQUEST);
    // Only a connection of the server can be taken over; a request served
    // in-process has none.
    auto* connection = dynamic_cast<ConnectionRequest*>(&request);
    if (!connection)
        return reply(response, HTTPResponse::HTTP_BAD_REQUEST);
    try
    {
        port.subscribe(connection->acceptWebSocket());
    }
    catch (const Poco::Net::WebSocketException& e)
    {
        _impl.logger.warning("Refused WebSocket subscriber on " + _uri.getPath() + ": " + e.displayText());
        if (!response.sent())
            reply(response, HTTPResponse::HTTP_BAD_REQUEST);
    }
}

void RequestDispatcher::callMethod(pemo::HTTPRequestHandler& handler, HTTPServerRequest& request,
                                   HTTPServerResponse& response, const std::vector<std::string>& captures,
                                   std::shared_ptr<Session> session)
{
    const std::string& method = request.getMethod();
    if (method == HTTPRequest::HTTP_GET)
        handler.get(request, response, captures, session);
    else if (method == HTTPRequest::HTTP_HEAD)
        handler.head(request, response, captures, session);
    else if (method == HTTPRequest::HTTP_POST)
        handler.post(request, response, captures, session);
    else if (method == HTTPRequest::HTTP_PUT)
        handler.put(request, response, captures, session);
    else if (method == HTTPRequest::HTTP_DELETE)
        handler.del(request, response, captures, session);
    else if (method == HTTPRequest::HTTP_TRACE)
        handler.trace(request, response, captures, session);
    else if (method == HTTPRequest::HTTP_OPTIONS)
        handler.options(request, response, captures, session);
    else if (method == HTTPRequest::HTTP_CONNECT)
        handler.connect(request, response, captures, session);
    else
        reply(response, HTTPResponse::HTTP_NOT_IMPLEMENTED);
}

} // namespace pemo
