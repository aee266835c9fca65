#include "PortListener.h"

#include "ClientError.h"

#include <Poco/Buffer.h>
#include <Poco/Exception.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/NetException.h>

namespace pemo {
namespace client {

namespace {

const Poco::Timespan CONNECT_TIMEOUT(5, 0);
// Poco cannot wait for ever on a socket; a subscriber without a time-out
// wakes once an hour and waits again.
const Poco::Timespan IDLE_WAKE(3600, 0);

} // namespace

PortListener::PortListener(const Settings& settings, const std::string& path)
    : _what("subscription to " + path + " at " + settings.address())
{
    Poco::Net::HTTPResponse response;
    try
    {
        _session = std::make_unique<Poco::Net::HTTPClientSession>(settings.host, settings.port);
        _session->setTimeout(CONNECT_TIMEOUT, CONNECT_TIMEOUT, CONNECT_TIMEOUT);
        Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_GET, path, Poco::Net::HTTPMessage::HTTP_1_1);
        if (settings.token)
            request.set("Pemo-Authenticate", *settings.token);
        _socket = std::make_unique<Poco::Net::WebSocket>(*_session, request, response);
    }
    catch (const Poco::Net::WebSocketException& e)
    {
        const int status = response.getStatus();
        if (status == Poco::Net::HTTPResponse::HTTP_SWITCHING_PROTOCOLS || status == 0)
            throw ClientError(EXIT_UNREACHABLE, _what + ": " + e.displayText());
        std::string message = "GET " + path + ": " + std::to_string(status) + " " + response.getReason();
        if (status == 403)
            message += " (the token is missing or opens no port: --token, PEMO_TOKEN)";
        throw ClientError(ClientError::forStatus(status), message);
    }
    catch (const Poco::Exception& e)
    {
        throw ClientError(EXIT_UNREACHABLE, "cannot reach the system manager at " + settings.address() + ": " +
                                                e.displayText() + " (is it running? --host, --port)");
    }
}

PortListener::~PortListener()
{
    try
    {
        _socket->shutdown();
    }
    catch (const Poco::Exception&)
    {
    }
}

std::optional<std::string> PortListener::next(std::optional<unsigned> timeout)
{
    _socket->setReceiveTimeout(timeout ? Poco::Timespan(static_cast<long>(*timeout), 0) : IDLE_WAKE);
    Poco::Buffer<char> buffer(0);
    for (;;)
    {
        int flags = 0;
        int received = 0;
        try
        {
            received = _socket->receiveFrame(buffer, flags);
        }
        catch (const Poco::TimeoutException&)
        {
            if (timeout)
                return std::nullopt;
            continue;
        }
        catch (const Poco::Exception& e)
        {
            throw ClientError(EXIT_UNREACHABLE, _what + " broke: " + e.displayText());
        }
        const int opcode = flags & Poco::Net::WebSocket::FRAME_OP_BITMASK;
        if (opcode == Poco::Net::WebSocket::FRAME_OP_CLOSE || (received == 0 && flags == 0))
            throw ClientError(EXIT_UNREACHABLE, _what + " was closed by the system manager");
        if (opcode == Poco::Net::WebSocket::FRAME_OP_PING)
            _socket->sendFrame(buffer.begin(), received,
                               Poco::Net::WebSocket::FRAME_FLAG_FIN | Poco::Net::WebSocket::FRAME_OP_PONG);
        if (opcode == Poco::Net::WebSocket::FRAME_OP_TEXT || opcode == Poco::Net::WebSocket::FRAME_OP_BINARY)
            return std::string(buffer.begin(), static_cast<std::size_t>(received));
        buffer.resize(0);
    }
}

void PortListener::listen(bool follow, std::optional<unsigned> timeout,
                          const std::function<void(const std::string&)>& print)
{
    do
    {
        const auto frame = next(timeout);
        if (!frame)
        {
            if (follow)
                continue;
            throw ClientError(EXIT_FAILED, "nothing arrived within " + std::to_string(*timeout) + " s");
        }
        print(*frame);
    } while (follow);
}

} // namespace client
} // namespace pemo
