#pragma once

#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>

#include <cstddef>
#include <string>

namespace pemo {

/// Gathers the bytes of one HTTP request, as a connection delivers them,
/// until the request is whole: its head and, for a request with a body, the
/// whole body (de-chunked). The server hands a request to a worker only
/// then, so a slow or silent client costs a bounded buffer, never a thread.
///
/// Bounds: a head line (request line, field, chunk size or trailer) of more
/// than Limits::maxLine bytes, a head of more than Limits::maxFields fields
/// or of more than Limits::maxHead bytes is refused with 431; a body of more than Limits::maxBody bytes,
/// declared or chunked, with 413; a head that does not parse, a length that
/// is not a number, both a length and chunks, a transfer coding other than
/// chunked or malformed chunks with 400. A request with neither a length
/// nor chunks has no body. What follows the request on the connection is
/// kept for the next one.
class RequestFramer
{
public:
    struct Limits
    {
        std::size_t maxLine = 8192;
        std::size_t maxFields = 100;
        std::size_t maxHead = 65536;
        std::size_t maxBody = 1048576;
    };

    enum class State
    {
        Head,     ///< waiting for (the rest of) the head
        Body,     ///< the head is in, waiting for (the rest of) the body
        Complete, ///< request() and takeBody() hold the whole request
        Refused   ///< refusal() tells the answer; the connection cannot go on
    };

    explicit RequestFramer(const Limits& limits);

    /// Appends bytes received on the connection and frames as far as they go.
    State feed(const char* data, std::size_t length);
    State state() const;

    /// Whether any byte of the current request has arrived.
    bool started() const;

    /// True once, when the head is in and its client waits for a
    /// "100 Continue" before it sends the body.
    bool takeContinue();

    /// The status to refuse the request with, in state Refused.
    Poco::Net::HTTPResponse::HTTPStatus refusal() const;

    /// The parsed head, from state Body on.
    const Poco::Net::HTTPRequest& request() const;

    /// The body, in state Complete; empties it.
    std::string takeBody();

    /// Starts on the next request with whatever followed the complete one,
    /// framed as far as it goes.
    State restart();

private:
    enum class Chunk
    {
        Size,
        Data,
        DataEnd,
        Trailer
    };

    bool frameHead();
    bool parseHead();
    bool frameBody();
    bool frameChunks();
    bool takeBodyBytes();
    bool nextLine(std::string& line);
    bool refuse(Poco::Net::HTTPResponse::HTTPStatus status);
    void compact();

    const Limits _limits;
    std::string _in;
    std::size_t _pos = 0;
    State _state = State::Head;
    std::size_t _headLines = 0;
    bool _requestLineSeen = false;
    Poco::Net::HTTPRequest _request;
    std::string _body;
    bool _chunked = false;
    Chunk _chunk = Chunk::Size;
    std::size_t _remaining = 0;
    std::size_t _trailers = 0;
    bool _continue = false;
    Poco::Net::HTTPResponse::HTTPStatus _refusal = Poco::Net::HTTPResponse::HTTP_BAD_REQUEST;
};

} // namespace pemo
