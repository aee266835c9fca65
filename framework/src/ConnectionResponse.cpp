#include "ConnectionResponse.h"

#include <Poco/File.h>
#include <Poco/FileStream.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/StreamCopier.h>

namespace pemo {

ConnectionResponse::ConnectionResponse(Poco::Net::HTTPServerSession& session, const std::string& method)
    : HTTPServerResponseImpl(session), _head(method == Poco::Net::HTTPRequest::HTTP_HEAD)
{
}

void ConnectionResponse::sendBuffer(const void* buffer, std::size_t length)
{
    setContentLength64(static_cast<Poco::Int64>(length));
    setChunkedTransferEncoding(false);
    std::ostream& body = send();
    if (!_head)
        body.write(static_cast<const char*>(buffer), static_cast<std::streamsize>(length));
    body.flush();
}

void ConnectionResponse::sendFile(const std::string& path, const std::string& mediaType)
{
    Poco::FileInputStream file(path);
    setContentType(mediaType);
    setContentLength64(static_cast<Poco::Int64>(Poco::File(path).getSize()));
    setChunkedTransferEncoding(false);
    std::ostream& body = send();
    if (!_head)
        Poco::StreamCopier::copyStream(file, body);
    body.flush();
}

} // namespace pemo
