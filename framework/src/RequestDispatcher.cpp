#include "RequestDispatcher.h"

#include "BoundedRequest.h"
#include "ManagementHandler.h"
#include "SanitizingResponse.h"
#include "ServiceCoreImpl.h"

#include "pemo/Authentication.h"
#include "pemo/BoundedInputStream.h"
#include "pemo/ServiceCore.h"

#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerRequestImpl.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/WebSocket.h>
#include <Poco/Timestamp.h>

#include <algorithm>
#include <limits>

#include <malloc.h>

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
    // Poco holds the head until the request is done; it must be out before
    // linger() shuts the sending side.
    response.send().flush();
}

bool isWebSocketUpgrade(const HTTPServerRequest& request)
{
    return Poco::icompare(request.get("Upgrade", ""), "websocket") == 0;
}

// The rest of the body is never read, so the connection cannot carry
// another request.
void refuseBody(HTTPServerResponse& response)
{
    response.setKeepAlive(false);
    reply(response, HTTPResponse::HTTP_REQUEST_ENTITY_TOO_LARGE);
}

// How long a refused caller may go on sending before the connection closes.
const Poco::Timespan LINGER(2, 0);

// Closing a connection on unread data resets it, and the caller may lose
// the answer with it. So what the caller still sends is read and dropped,
// for a bounded time, until it closes; shutting the sending side first
// tells a caller that reads to the end that the answer is complete (only
// once the answer is all written: a streamed one is finished later).
void linger(HTTPServerRequest& request, bool shutdown)
{
    auto* served = dynamic_cast<Poco::Net::HTTPServerRequestImpl*>(&request);
    if (!served)
        return;
    try
    {
        Poco::Net::StreamSocket& socket = served->socket();
        if (shutdown)
            socket.shutdownSend();
        socket.setReceiveTimeout(LINGER);
        char buffer[8192];
        const Poco::Timestamp start;
        while (!start.isElapsed(LINGER.totalMicroseconds()) && socket.receiveBytes(buffer, sizeof buffer) > 0)
        {
        }
    }
    catch (const Poco::Exception&)
    {
        // The caller is gone: nothing left to protect.
    }
}

// Bodies from this size up are rare enough that giving memory back after
// each costs nothing that shows.
const Poco::Int64 LARGE_BODY = 64 * 1024;

// Parsing a large body grows the worker's heap, and glibc keeps what is
// freed inside a heap resident for good, in every worker that ever served
// one. On the robot's board that memory is worth more than the fraction of
// a millisecond it takes to hand it back.
void releaseFreedMemory(const HTTPServerRequest& request)
{
#ifdef __GLIBC__
    if (request.getChunkedTransferEncoding() ||
        (request.hasContentLength() && request.getContentLength64() >= LARGE_BODY))
        malloc_trim(0);
#else
    (void)request;
#endif
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
        if (!isWebSocketUpgrade(request))
            dropUnreadBody(request);
    }
    catch (const BodyTooLargeException& e)
    {
        _impl.logger.warning("Refused the body of " + request.getMethod() + " " + _uri.getPath() + ": " +
                             e.displayText() + "; answering 413 and closing the connection");
        const bool answered = response.sent();
        if (!answered)
            refuseBody(response);
        linger(request, !answered);
    }
    catch (const std::exception& e)
    {
        _impl.logger.error("Unhandled exception serving " + request.getMethod() + " " + request.getURI() + ": " +
                           e.what() + "; answering 500");
        if (!response.sent())
            reply(response, HTTPResponse::HTTP_INTERNAL_SERVER_ERROR);
    }
    releaseFreedMemory(request);
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

// A handler need not read the body (a GET, a route that takes none): what
// it left is dropped here, so that the connection ends cleanly (see
// linger()) or carries the caller's next request from its start. More than
// the bound throws BodyTooLargeException.
void RequestDispatcher::dropUnreadBody(HTTPServerRequest& request)
{
    if (!BoundedRequest::framed(request))
        return;
    auto* served = dynamic_cast<Poco::Net::HTTPServerRequestImpl*>(&request);
    try
    {
        // A caller that waits for the answer before sending the rest must
        // not hold the thread for the server's whole time-out; a kept-alive
        // connection gets its own back for the next request.
        const Poco::Timespan previous = served ? served->socket().getReceiveTimeout() : Poco::Timespan();
        if (served)
            served->socket().setReceiveTimeout(LINGER);
        BoundedInputStream rest(request.stream(), _impl.maxBody);
        rest.ignore(std::numeric_limits<std::streamsize>::max());
        if (served)
            served->socket().setReceiveTimeout(previous);
    }
    catch (const BodyTooLargeException&)
    {
        throw;
    }
    catch (const Poco::Exception&)
    {
        // The caller stopped sending or went away; the answer is out already.
    }
}

void RequestDispatcher::subscribe(Port& port, HTTPServerRequest& request, HTTPServerResponse& response)
{
    if (!isWebSocketUpgrade(request))
        return reply(response, HTTPResponse::HTTP_BAD_REQUEST);
    try
    {
        Poco::Net::WebSocket socket(request, response);
        port.subscribe(socket);
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
