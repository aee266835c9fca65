#include "BoundedRequest.h"

namespace pemo {

BoundedRequest::BoundedRequest(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response,
                               std::size_t maxBody)
    : _request(request), _response(response), _body(request.stream(), maxBody)
{
    Poco::Net::HTTPRequest::operator=(request);
}

BoundedRequest::~BoundedRequest() = default;

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
