#include "Http.h"

#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/SocketStream.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/StreamCopier.h>

#include <stdexcept>

namespace pemo::test {

namespace {

const char* const kAuthHeader = "Pemo-Authenticate";

} // namespace

ApiClient::ApiClient(std::uint16_t port, std::optional<std::string> token) : _port(port), _token(std::move(token)) {}

HttpResponse ApiClient::request(const std::string& method, const std::string& path, const std::string& body,
                                const Headers& extraHeaders) const
{
    try
    {
        return exchange(method, path, body, extraHeaders);
    }
    catch (const Poco::Exception& e)
    {
        throw std::runtime_error(method + " " + path + ": " + e.displayText());
    }
}

HttpResponse ApiClient::exchange(const std::string& method, const std::string& path, const std::string& body,
                                 const Headers& extraHeaders) const
{
    Poco::Net::HTTPClientSession session("127.0.0.1", _port);
    session.setTimeout(Poco::Timespan(30, 0));
    Poco::Net::HTTPRequest request(method, path, Poco::Net::HTTPMessage::HTTP_1_1);
    if (_token)
        request.set(kAuthHeader, *_token);
    for (const auto& [name, value] : extraHeaders)
        request.set(name, value);
    const bool sendsBody = !body.empty() || method == "POST" || method == "PUT";
    if (sendsBody)
    {
        request.setContentType("application/json");
        request.setContentLength(static_cast<std::streamsize>(body.size()));
    }
    std::ostream& out = session.sendRequest(request);
    if (sendsBody)
        out << body;

    Poco::Net::HTTPResponse response;
    std::istream& in = session.receiveResponse(response);
    HttpResponse result;
    result.status = response.getStatus();
    result.reason = response.getReason();
    for (const auto& [name, value] : response)
        result.headers.add(name, value);
    if (method != "HEAD")
        Poco::StreamCopier::copyToString(in, result.body);
    return result;
}

std::string rawExchange(std::uint16_t port, const std::string& request, Poco::Timespan timeout)
{
    Poco::Net::StreamSocket socket(Poco::Net::SocketAddress("127.0.0.1", port));
    socket.setSendTimeout(timeout);
    socket.setReceiveTimeout(timeout);
    Poco::Net::SocketStream stream(socket);
    stream << request << std::flush;
    // Silence or a reset ends the stream like a close: the answer is what came before.
    std::string answer;
    Poco::StreamCopier::copyToString(stream, answer);
    return answer;
}

std::unique_ptr<WebSocketSubscriber> WebSocketSubscriber::connect(std::uint16_t port, const std::string& path,
                                                                  const std::optional<std::string>& token,
                                                                  int& handshakeStatus)
{
    std::unique_ptr<WebSocketSubscriber> subscriber(new WebSocketSubscriber);
    subscriber->_session = std::make_unique<Poco::Net::HTTPClientSession>("127.0.0.1", port);
    subscriber->_session->setTimeout(Poco::Timespan(10, 0));
    Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_GET, path, Poco::Net::HTTPMessage::HTTP_1_1);
    if (token)
        request.set(kAuthHeader, *token);
    Poco::Net::HTTPResponse response;
    try
    {
        subscriber->_socket = std::make_unique<Poco::Net::WebSocket>(*subscriber->_session, request, response);
    }
    catch (const Poco::Net::WebSocketException&)
    {
        handshakeStatus = response.getStatus();
        return nullptr;
    }
    handshakeStatus = response.getStatus();
    return subscriber;
}

WebSocketSubscriber::~WebSocketSubscriber()
{
    if (_socket)
    {
        try
        {
            _socket->shutdown();
        }
        catch (const Poco::Exception&)
        {
        }
    }
}

std::optional<std::string> WebSocketSubscriber::receive(Poco::Timespan timeout)
{
    _socket->setReceiveTimeout(timeout);
    char buffer[65536];
    for (;;)
    {
        int flags = 0;
        int n = 0;
        try
        {
            n = _socket->receiveFrame(buffer, sizeof(buffer), flags);
        }
        catch (const Poco::TimeoutException&)
        {
            return std::nullopt;
        }
        const int opcode = flags & Poco::Net::WebSocket::FRAME_OP_BITMASK;
        if (opcode == Poco::Net::WebSocket::FRAME_OP_PING || opcode == Poco::Net::WebSocket::FRAME_OP_PONG)
            continue;
        if (opcode == Poco::Net::WebSocket::FRAME_OP_CLOSE || (n == 0 && flags == 0))
            return std::nullopt;
        return std::string(buffer, static_cast<std::size_t>(n));
    }
}

} // namespace pemo::test
