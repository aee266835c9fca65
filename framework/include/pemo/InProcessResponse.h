#pragma once

#include <Poco/Net/HTTPServerResponse.h>

#include <sstream>
#include <string>

namespace pemo {

/// The answer of a request served in-process: what the handler sends is
/// kept in memory for the caller instead of written to a connection. Also
/// what a handler is given when it is called directly, as in a unit test.
class InProcessResponse : public Poco::Net::HTTPServerResponse
{
public:
    InProcessResponse();

    void sendContinue() override;
    std::ostream& send() override;
    /// Throws Poco::FileNotFoundException (or another Poco::FileException)
    /// when path cannot be read.
    void sendFile(const std::string& path, const std::string& mediaType) override;
    void sendBuffer(const void* buffer, std::size_t length) override;
    void redirect(const std::string& uri, HTTPStatus status) override;
    void requireAuthentication(const std::string& realm) override;
    bool sent() const override;

    /// How many times the head went out; a handler sends it exactly once.
    int sendCount() const;

    /// Everything written after send(), or given to sendBuffer/sendFile.
    std::string body() const;

private:
    int _sendCount;
    std::ostringstream _body;
};

} // namespace pemo
