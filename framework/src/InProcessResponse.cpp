#include "InProcessResponse.h"

#include <Poco/FileStream.h>
#include <Poco/StreamCopier.h>

namespace pemo {

InProcessResponse::InProcessResponse() : _sent(false)
{
}

void InProcessResponse::sendContinue()
{
}

std::ostream& InProcessResponse::send()
{
    _sent = true;
    return _body;
}

void InProcessResponse::sendFile(const std::string& path, const std::string& mediaType)
{
    Poco::FileInputStream in(path);
    setContentType(mediaType);
    _sent = true;
    Poco::StreamCopier::copyStream(in, _body);
}

void InProcessResponse::sendBuffer(const void* buffer, std::size_t length)
{
    _sent = true;
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
    return _sent;
}

std::string InProcessResponse::body() const
{
    return _body.str();
}

} // namespace pemo
