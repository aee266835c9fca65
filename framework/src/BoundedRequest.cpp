#include "BoundedRequest.h"

namespace pemo {

BoundedRequest::BoundedRequest(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response,
                               std::size_t maxBody)
    // Poco reads the body of an unframed POST or PUT until the caller
    // closes, which a caller waiting for its answer never does.
    : _request(request), _response(response), _body(framed(request) ? request.stream() : _none, maxBody)
{
    Poco::Net::HTTPRequest::operator=(request);
}

BoundedRequest::~BoundedRequest() = default;

bool BoundedRequest::framed(const Poco::Net::HTTPRequest& request)
{
    return request.hasContentLength() || request.getChunkedTransferEncoding();
}

std::istream& BoundedRequest::stream()
{
    return _body;
}

const Poco::Net::SocketAddress& BoundedRequest::clientAddress() const
{
    return _request.clientAddress();
}

const Poco::Net::SocketAddress& BoundedRequest::serverAddress() const
{
    return _request.serverAddress();
}

const Poco::Net::HTTPServerParams& BoundedRequest::serverParams() const
{
    return _request.serverParams();
}

Poco::Net::HTTPServerResponse& BoundedRequest::response() const
{
    return _response;
}

bool BoundedRequest::secure() const
{
    return _request.secure();
}

} // namespace pemo
