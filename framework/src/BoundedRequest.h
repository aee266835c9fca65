#pragma once

#include "pemo/BoundedInputStream.h"

#include <Poco/Net/HTTPServerRequest.h>

#include <cstddef>
#include <sstream>

namespace pemo {

/// The request a handler is given: the server's request, same method, URI,
/// version and headers, whose body stream yields at most maxBody bytes
/// (a longer body throws BodyTooLargeException from the read), whatever
/// the caller declared or chunked. A request that neither declares a length
/// nor is chunked has no body: its stream is empty at once. Its response()
/// is the one the handler is given. Both the request and the response must
/// outlive this one.
class BoundedRequest : public Poco::Net::HTTPServerRequest
{
public:
    BoundedRequest(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response,
                   std::size_t maxBody);
    ~BoundedRequest() override;

    std::istream& stream() override;
    const Poco::Net::SocketAddress& clientAddress() const override;
    const Poco::Net::SocketAddress& serverAddress() const override;
    const Poco::Net::HTTPServerParams& serverParams() const override;
    Poco::Net::HTTPServerResponse& response() const override;
    bool secure() const override;

    /// Whether request says where its body ends (a length or chunks).
    static bool framed(const Poco::Net::HTTPRequest& request);

private:
    Poco::Net::HTTPServerRequest& _request;
    Poco::Net::HTTPServerResponse& _response;
    std::istringstream _none;
    BoundedInputStream _body;
};

} // namespace pemo
