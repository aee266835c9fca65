#include "InProcessRequest.h"

#include "pemo/InProcessResponse.h"

namespace pemo {

InProcessRequest::InProcessRequest(const Poco::Net::HTTPRequest& request, const std::string& body,
                                   const Poco::Net::SocketAddress& server, InProcessResponse& response)
    : _body(body), _client("127.0.0.1", 0), _server(server), _params(new Poco::Net::HTTPServerParams),
      _response(response)
{
    Poco::Net::HTTPRequest::operator=(request);
    // A client session names the host it connected to; so does this.
    if (!has(HOST))
        setHost(server.host().toString(), server.port());
}

std::istream& InProcessRequest::stream()
{
    return _body;
}

const Poco::Net::SocketAddress& InProcessRequest::clientAddress() const
{
    return _client;
}

const Poco::Net::SocketAddress& InProcessRequest::serverAddress() const
{
    return _server;
}

const Poco::Net::HTTPServerParams& InProcessRequest::serverParams() const
{
    return *_params;
}

Poco::Net::HTTPServerResponse& InProcessRequest::response() const
{
    return _response;
}

bool InProcessRequest::secure() const
{
    return false;
}

} // namespace pemo
