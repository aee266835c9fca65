#include "pemo/InProcessResponse.h"

#include <Poco/FileStream.h>
#include <Poco/StreamCopier.h>

namespace pemo {

InProcessResponse::InProcessResponse() : _sendCount(0)
{
}

void InProcessResponse::sendContinue()
{
}

std::ostream& InProcessResponse::send()
{
    ++_sendCount;
    return _body;
}

void InProcessResponse::sendFile(const std::string& path, const std::string& mediaType)
{
    Poco::FileInputStream in(path);
    setContentType(mediaType);
    ++_sendCount;
    Poco::StreamCopier::copyStream(in, _body);
}

void InProcessResponse::sendBuffer(const void* buffer, std::size_t length)
{
    // As a server's response does: the length is the buffer's.
    setContentLength(static_cast<std::streamsize>(length));
    ++_sendCount;
    _body.write(static_cast<const char*>(buffer), static_cast<std::streamsize>(length));
}

void InProcessResponse::redirect(const std::string& uri, HTTPStatus status)
{
    setStatusAndReason(status);
    set("Location", uri);
    setContentLength(0);
    send();
}

void InProcessResponse::requireAuthentication(const std::string& realm)
{
    setStatusAndReason(HTTP_UNAUTHORIZED);
    set("WWW-Authenticate", "Basic realm=\"" + realm + "\"");
    setContentLength(0);
    send();
}

bool InProcessResponse::sent() const
{
    return _sendCount > 0;
}

int InProcessResponse::sendCount() const
{
    return _sendCount;
}

std::string InProcessResponse::body() const
{
    return _body.str();
}

} // namespace pemo
