#pragma once

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/NameValueCollection.h>
#include <Poco/Net/WebSocket.h>
#include <Poco/Timespan.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace pemo::test {

struct HttpResponse
{
    int status = 0;
    std::string reason;
    std::string body;
    Poco::Net::NameValueCollection headers; // names compare case-insensitively
    std::string header(const std::string& name) const { return headers.get(name, ""); }
};

using Headers = std::vector<std::pair<std::string, std::string>>;

// A client of the device's API on 127.0.0.1. With a token, every request
// carries it in the authentication header; without one, none is sent.
class ApiClient
{
public:
    ApiClient(std::uint16_t port, std::optional<std::string> token);

    HttpResponse get(const std::string& path) const { return request("GET", path); }
    HttpResponse post(const std::string& path, const std::string& body = "") const
    {
        return request("POST", path, body);
    }
    HttpResponse put(const std::string& path, const std::string& body = "") const
    {
        return request("PUT", path, body);
    }
    // Sends one request on a new connection and reads the whole answer;
    // throws std::runtime_error naming the request if there is none.
    HttpResponse request(const std::string& method, const std::string& path, const std::string& body = "",
                         const Headers& extraHeaders = {}) const;

private:
    HttpResponse exchange(const std::string& method, const std::string& path, const std::string& body,
                          const Headers& extraHeaders) const;

    std::uint16_t _port;
    std::optional<std::string> _token;
};

// Writes request as it is on a new connection and returns every byte the
// server sends back until it closes the connection or falls silent for
// timeout: for answers an HTTP client library would hide or refuse.
std::string rawExchange(std::uint16_t port, const std::string& request, Poco::Timespan timeout);

// The result of a WebSocket handshake: the HTTP status of the answer, and
// the subscription when the server accepted it.
class WebSocketSubscriber
{
public:
    static std::unique_ptr<WebSocketSubscriber> connect(std::uint16_t port, const std::string& path,
                                                        const std::optional<std::string>& token,
                                                        int& handshakeStatus);
    ~WebSocketSubscriber();

    // The payload of the next text or binary frame, or nothing if none came in time.
    std::optional<std::string> receive(Poco::Timespan timeout);

private:
    WebSocketSubscriber() = default;
    std::unique_ptr<Poco::Net::HTTPClientSession> _session;
    std::unique_ptr<Poco::Net::WebSocket> _socket;
};

} // namespace pemo::test
