#pragma once

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Timespan.h>

#include <cstddef>
#include <memory>
#include <string>

namespace pemo {

class InProcessResponse;

/// One HTTP request and its answer, with a service of this very process or
/// over the network.
///
/// A request to the address of a ServiceCore of this process (from its
/// start() until its onStop() has returned) is served in-process, through
/// the same routing, authentication, handlers and management routes as a
/// request on a connection, but on the calling thread: it needs neither a
/// socket nor one of the service's HTTP worker threads, so a service can
/// talk to itself even while every worker waits for that very answer, and
/// while it stops. A WebSocket upgrade always goes over the network.
///
/// The time-out bounds network exchanges; an in-process answer is complete
/// when send() returns.
class HTTPExchange
{
public:
    struct Answer
    {
        int status = 0;
        std::string reason;
        std::string body;
    };

    /// The most of an answer's body that receive() reads by default.
    static const std::size_t MAX_ANSWER = 1048576;

    /// send() and receive() in one. Throws as they do.
    static Answer perform(const Poco::Net::SocketAddress& address, Poco::Net::HTTPRequest& request,
                          const std::string& body, Poco::Timespan timeout, std::size_t maxAnswer = MAX_ANSWER);

    HTTPExchange(const Poco::Net::SocketAddress& address, Poco::Timespan timeout);
    ~HTTPExchange();

    HTTPExchange(const HTTPExchange&) = delete;
    HTTPExchange& operator=(const HTTPExchange&) = delete;

    /// Sends request with body. A request that is not chunked and has no
    /// content length gets the body's (except an empty GET or HEAD).
    /// Throws Poco::Exception when it cannot be sent (Poco::Net::NetException,
    /// Poco::TimeoutException, ...), Poco::IllegalStateException on a second
    /// call.
    void send(Poco::Net::HTTPRequest& request, const std::string& body);
    /// The whole answer to what send() sent. Throws Poco::Exception when
    /// none arrives in time or it cannot be read (Poco::Net::NoMessageException
    /// also when an in-process handler sent nothing), BodyTooLargeException
    /// when its body is longer than maxBody, Poco::IllegalStateException
    /// before send().
    Answer receive(std::size_t maxBody = MAX_ANSWER);

    const Poco::Net::SocketAddress& address() const;

private:
    bool serveInProcess(const Poco::Net::HTTPRequest& request, const std::string& body);

    Poco::Net::SocketAddress _address;
    Poco::Timespan _timeout;
    std::unique_ptr<Poco::Net::HTTPClientSession> _session;
    std::unique_ptr<InProcessResponse> _inProcess;
};

} // namespace pemo
