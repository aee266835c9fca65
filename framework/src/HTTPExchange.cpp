#include "pemo/HTTPExchange.h"

#include "pemo/BodyReader.h"

#include "BufferedRequest.h"
#include "pemo/InProcessResponse.h"
#include "LocalServices.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/NetException.h>

namespace pemo {

namespace {

using Poco::Net::HTTPRequest;

// The server cannot tell where a body without length ends on a connection
// that stays open, so every request states one.
void frame(HTTPRequest& request, const std::string& body)
{
    if (request.getChunkedTransferEncoding() || request.hasContentLength())
        return;
    const std::string& method = request.getMethod();
    if (body.empty() && (method == HTTPRequest::HTTP_GET || method == HTTPRequest::HTTP_HEAD))
        return;
    request.setContentLength(static_cast<std::streamsize>(body.size()));
}

bool isUpgrade(const HTTPRequest& request)
{
    return request.has("Upgrade");
}

} // namespace

HTTPExchange::Answer HTTPExchange::perform(const Poco::Net::SocketAddress& address, HTTPRequest& request,
                                           const std::string& body, Poco::Timespan timeout, std::size_t maxAnswer)
{
    HTTPExchange exchange(address, timeout);
    exchange.send(request, body);
    return exchange.receive(maxAnswer);
}

HTTPExchange::HTTPExchange(const Poco::Net::SocketAddress& address, Poco::Timespan timeout)
    : _address(address), _timeout(timeout)
{
}

HTTPExchange::~HTTPExchange() = default;

void HTTPExchange::send(HTTPRequest& request, const std::string& body)
{
    if (_session || _inProcess)
        throw Poco::IllegalStateException("HTTPExchange: a request to " + _address.toString() + " was already sent");
    frame(request, body);
    if (!isUpgrade(request) && serveInProcess(request, body))
        return;
    _session = std::make_unique<Poco::Net::HTTPClientSession>(_address);
    _session->setTimeout(_timeout);
    _session->sendRequest(request) << body << std::flush;
}

bool HTTPExchange::serveInProcess(const HTTPRequest& request, const std::string& body)
{
    auto response = std::make_unique<InProcessResponse>();
    BufferedRequest served(request, body, _address, *response);
    if (!LocalServices::instance().serve(_address, served, *response))
        return false;
    _inProcess = std::move(response);
    return true;
}

HTTPExchange::Answer HTTPExchange::receive(std::size_t maxBody)
{
    Answer answer;
    if (_inProcess)
    {
        if (!_inProcess->sent())
            throw Poco::Net::NoMessageException("no answer from the service at " + _address.toString());
        answer.status = static_cast<int>(_inProcess->getStatus());
        answer.reason = _inProcess->getReason();
        answer.body = _inProcess->body();
        if (answer.body.size() > maxBody)
            throw BodyTooLargeException("answer of " + _address.toString());
        return answer;
    }
    if (!_session)
        throw Poco::IllegalStateException("HTTPExchange: nothing sent to " + _address.toString());
    Poco::Net::HTTPResponse response;
    std::istream& in = _session->receiveResponse(response);
    answer.status = static_cast<int>(response.getStatus());
    answer.reason = response.getReason();
    // Another process's answer: read only up to what the caller can use.
    answer.body = BodyReader::read(in, maxBody);
    return answer;
}

const Poco::Net::SocketAddress& HTTPExchange::address() const
{
    return _address;
}

} // namespace pemo
