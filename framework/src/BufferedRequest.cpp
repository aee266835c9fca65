#include "BufferedRequest.h"

namespace pemo {

BufferedRequest::BufferedRequest(const Poco::Net::HTTPRequest& request, std::string body,
                                 const Poco::Net::SocketAddress& server, Poco::Net::HTTPServerResponse& response)
    : BufferedRequest(request, std::move(body), Poco::Net::SocketAddress("127.0.0.1", 0), server,
                      new Poco::Net::HTTPServerParams, response)
{
    // A client session names the host it connected to; so does this.
    if (!has(HOST))
        setHost(server.host().toString(), server.port());
}

BufferedRequest::BufferedRequest(const Poco::Net::HTTPRequest& request, std::string body,
                                 const Poco::Net::SocketAddress& client, const Poco::Net::SocketAddress& server,
                                 Poco::Net::HTTPServerParams::Ptr params, Poco::Net::HTTPServerResponse& response)
    : _body(std::move(body)), _client(client), _server(server), _params(std::move(params)), _response(response)
{
    Poco::Net::HTTPRequest::operator=(request);
}

std::istream& BufferedRequest::stream()
{
    if (!_stream)
        _stream = std::make_unique<Poco::MemoryInputStream>(_body.data(), _body.size());
    return *_stream;
}

const Poco::Net::SocketAddress& BufferedRequest::clientAddress() const
{
    return _client;
}

const Poco::Net::SocketAddress& BufferedRequest::serverAddress() const
{
    return _server;
}

const Poco::Net::HTTPServerParams& BufferedRequest::serverParams() const
{
    return *_params;
}

Poco::Net::HTTPServerResponse& BufferedRequest::response() const
{
    return _response;
}

bool BufferedRequest::secure() const
{
    return false;
}

} // namespace pemo
