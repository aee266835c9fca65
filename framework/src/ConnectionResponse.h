#pragma once

#include <Poco/Net/HTTPServerResponseImpl.h>
#include <Poco/Net/HTTPServerSession.h>

#include <string>

namespace pemo {

/// The answer to a request a connection delivered, written through session
/// as Poco's own server writes it. Poco's response learns whether the
/// request was a HEAD from a request of its own server; this one is told.
class ConnectionResponse : public Poco::Net::HTTPServerResponseImpl
{
public:
    /// method is the request's; a HEAD's answer carries no body.
    ConnectionResponse(Poco::Net::HTTPServerSession& session, const std::string& method);

    void sendBuffer(const void* buffer, std::size_t length) override;
    void sendFile(const std::string& path, const std::string& mediaType) override;

private:
    const bool _head;
};

} // namespace pemo
