#pragma once

#include <Poco/Net/HTTPServerResponse.h>

#include <string>

namespace pemo {

/// The response a handler is given. Handlers put caller text in reason
/// phrases ("Unknown skill: " + name); a CR or LF there would let the caller
/// end the status line and write headers of its own. This response collects
/// status, reason and headers like any other and hands them to the real one
/// when the handler sends, with every control character of the reason and
/// of header names and values replaced by a space. Nothing else changes:
/// status, headers, body, content length and keep-alive reach the caller as
/// the handler set them.
class SanitizingResponse : public Poco::Net::HTTPServerResponse
{
public:
    /// Starts from what the server already set on response (version, date,
    /// keep-alive); response must outlive this one.
    explicit SanitizingResponse(Poco::Net::HTTPServerResponse& response);
    ~SanitizingResponse() override;

    /// text with every control character but horizontal tab replaced by a
    /// space: what may stand in a status line or a header field.
    static std::string clean(const std::string& text);

    void sendContinue() override;
    std::ostream& send() override;
    void sendFile(const std::string& path, const std::string& mediaType) override;
    void sendBuffer(const void* buffer, std::size_t length) override;
    void redirect(const std::string& uri, HTTPStatus status = HTTP_FOUND) override;
    void requireAuthentication(const std::string& realm) override;
    bool sent() const override;

private:
    void commit();

    Poco::Net::HTTPServerResponse& _response;
};

} // namespace pemo
