#include "FakeHTTP.h"

#include <Poco/Exception.h>

namespace pemo {
namespace system {
namespace test {

FakeRequest::FakeRequest(const std::string& body) : _body(body)
{
}

std::istream& FakeRequest::stream()
{
    return _body;
}

const Poco::Net::SocketAddress& FakeRequest::clientAddress() const
{
    return _address;
}

const Poco::Net::SocketAddress& FakeRequest::serverAddress() const
{
    return _address;
}

const Poco::Net::HTTPServerParams& FakeRequest::serverParams() const
{
    throw Poco::NotImplementedException("FakeRequest::serverParams");
}

Poco::Net::HTTPServerResponse& FakeRequest::response() const
{
    throw Poco::NotImplementedException("FakeRequest::response");
}

bool FakeRequest::secure() const
{
    return false;
}

void FakeResponse::sendContinue()
{
}

std::ostream& FakeResponse::send()
{
    ++_sendCount;
    return _body;
}

void FakeResponse::sendFile(const std::string&, const std::string&)
{
    throw Poco::NotImplementedException("FakeResponse::sendFile");
}

void FakeResponse::sendBuffer(const void* buffer, std::size_t length)
{
    ++_sendCount;
    setContentLength(static_cast<std::streamsize>(length));
    _body.write(static_cast<const char*>(buffer), static_cast<std::streamsize>(length));
}

void FakeResponse::redirect(const std::string&, HTTPStatus)
{
    throw Poco::NotImplementedException("FakeResponse::redirect");
}

void FakeResponse::requireAuthentication(const std::string&)
{
    throw Poco::NotImplementedException("FakeResponse::requireAuthentication");
}

bool FakeResponse::sent() const
{
    return _sendCount > 0;
}

} // namespace test
} // namespace system
} // namespace pemo
