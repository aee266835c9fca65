#include "RequestFramer.h"

#include <Poco/Exception.h>
#include <Poco/MemoryStream.h>
#include <Poco/NumberParser.h>
#include <Poco/String.h>

#include <algorithm>
#include <vector>

namespace pemo {

using Poco::Net::HTTPResponse;

RequestFramer::RequestFramer(const Limits& limits) : _limits(limits)
{
}

RequestFramer::State RequestFramer::feed(const char* data, std::size_t length)
{
    if (_state == State::Head || _state == State::Body)
        _in.append(data, length);
    bool progressed = true;
    while (progressed)
    {
        if (_state == State::Head)
            progressed = frameHead();
        else if (_state == State::Body)
            progressed = frameBody();
        else
            progressed = false;
    }
    return _state;
}

RequestFramer::State RequestFramer::state() const
{
    return _state;
}

bool RequestFramer::started() const
{
    return _state != State::Head || !_in.empty();
}

bool RequestFramer::takeContinue()
{
    return std::exchange(_continue, false);
}

HTTPResponse::HTTPStatus RequestFramer::refusal() const
{
    return _refusal;
}

const Poco::Net::HTTPRequest& RequestFramer::request() const
{
    return _request;
}

std::string RequestFramer::takeBody()
{
    return std::move(_body);
}

RequestFramer::State RequestFramer::restart()
{
    if (_state != State::Complete)
        return _state;
    compact();
    // A large head or chunk once must not keep its buffer for the life of
    // a kept-alive connection.
    if (_in.capacity() > 4096)
        _in.shrink_to_fit();
    _state = State::Head;
    _headLines = 0;
    _requestLineSeen = false;
    _request = Poco::Net::HTTPRequest();
    _body.clear();
    _chunked = false;
    _chunk = Chunk::Size;
    _remaining = 0;
    _trailers = 0;
    _continue = false;
    return feed(nullptr, 0);
}

// One line of the head or of the chunk framing, without its line end; false
// while the line is not all in (or once it is refused as too long).
bool RequestFramer::nextLine(std::string& line)
{
    const auto end = _in.find('\n', _pos);
    if (end == std::string::npos)
    {
        if (_in.size() - _pos > _limits.maxLine)
            refuse(HTTPResponse::HTTP_REQUEST_HEADER_FIELDS_TOO_LARGE);
        return false;
    }
    std::size_t length = end - _pos;
    if (length > 0 && _in[end - 1] == '\r')
        --length;
    if (length > _limits.maxLine)
        return refuse(HTTPResponse::HTTP_REQUEST_HEADER_FIELDS_TOO_LARGE);
    line.assign(_in, _pos, length);
    _pos = end + 1;
    return true;
}

bool RequestFramer::frameHead()
{
    std::string line;
    while (nextLine(line))
    {
        if (line.empty() && _requestLineSeen)
            return parseHead();
        // Blank lines before the request line are tolerated, as HTTP asks,
        // and count against the head's bound like fields.
        _requestLineSeen = _requestLineSeen || !line.empty();
        if (++_headLines > _limits.maxFields + 1 || _pos > _limits.maxHead)
            return refuse(HTTPResponse::HTTP_REQUEST_HEADER_FIELDS_TOO_LARGE);
    }
    return _state != State::Head;
}

bool RequestFramer::parseHead()
{
    Poco::MemoryInputStream head(_in.data(), _pos);
    try
    {
        _request.read(head);
    }
    catch (const Poco::Exception&)
    {
        return refuse(HTTPResponse::HTTP_BAD_REQUEST);
    }
    compact();
    const std::string coding = _request.get(Poco::Net::HTTPMessage::TRANSFER_ENCODING, "");
    std::vector<std::string> lengths;
    for (const auto& field : _request)
        if (Poco::icompare(field.first, Poco::Net::HTTPMessage::CONTENT_LENGTH) == 0)
            lengths.push_back(field.second);
    const bool hasLength = !lengths.empty();
    if (!coding.empty())
    {
        // Anything but plain chunks, or chunks with a length beside them, is
        // how requests are smuggled past a proxy: refused, not guessed at.
        if (Poco::icompare(coding, Poco::Net::HTTPMessage::CHUNKED_TRANSFER_ENCODING) != 0 || hasLength)
            return refuse(HTTPResponse::HTTP_BAD_REQUEST);
        _chunked = true;
    }
    else if (hasLength)
    {
        Poco::UInt64 length = 0;
        if (lengths.size() > 1 || !Poco::NumberParser::tryParseUnsigned64(lengths.front(), length))
            return refuse(HTTPResponse::HTTP_BAD_REQUEST);
        if (length > _limits.maxBody)
            return refuse(HTTPResponse::HTTP_REQUEST_ENTITY_TOO_LARGE);
        _remaining = static_cast<std::size_t>(length);
    }
    const bool hasBody = _chunked || _remaining > 0;
    _continue = hasBody && Poco::icompare(_request.get("Expect", ""), "100-continue") == 0;
    _state = hasBody ? State::Body : State::Complete;
    return true;
}

bool RequestFramer::frameBody()
{
    if (_chunked)
        return frameChunks();
    if (!takeBodyBytes())
        return false;
    _state = State::Complete;
    return true;
}

// Moves what has arrived of the _remaining bytes into the body; true once
// they are all in.
bool RequestFramer::takeBodyBytes()
{
    const std::size_t take = std::min(_remaining, _in.size() - _pos);
    _body.append(_in, _pos, take);
    _pos += take;
    _remaining -= take;
    compact();
    return _remaining == 0;
}

bool RequestFramer::frameChunks()
{
    std::string line;
    for (;;)
    {
        if (_chunk == Chunk::Data)
        {
            if (!takeBodyBytes())
                return false;
            _chunk = Chunk::DataEnd;
            continue;
        }
        if (!nextLine(line))
            return _state != State::Body;
        if (_chunk == Chunk::DataEnd)
        {
            if (!line.empty())
                return refuse(HTTPResponse::HTTP_BAD_REQUEST);
            _chunk = Chunk::Size;
        }
        else if (_chunk == Chunk::Size)
        {
            Poco::UInt64 size = 0;
            const std::string digits = Poco::trim(line.substr(0, line.find(';')));
            if (digits.empty() || digits.size() > 15 || !Poco::NumberParser::tryParseHex64(digits, size))
                return refuse(HTTPResponse::HTTP_BAD_REQUEST);
            if (size > _limits.maxBody - _body.size())
                return refuse(HTTPResponse::HTTP_REQUEST_ENTITY_TOO_LARGE);
            _remaining = static_cast<std::size_t>(size);
            _chunk = size == 0 ? Chunk::Trailer : Chunk::Data;
        }
        else if (line.empty())
        {
            compact();
            _state = State::Complete;
            return true;
        }
        else if (++_trailers > _limits.maxFields)
            return refuse(HTTPResponse::HTTP_REQUEST_HEADER_FIELDS_TOO_LARGE);
    }
}

bool RequestFramer::refuse(HTTPResponse::HTTPStatus status)
{
    _refusal = status;
    _state = State::Refused;
    // Given back, not just emptied: a refused body may be as large as the
    // bound, and the connection lingers a while before it goes.
    std::string().swap(_in);
    std::string().swap(_body);
    _pos = 0;
    return true;
}

// Drops what has been framed, so the buffer holds only what is still to
// come and never grows with a long body read in pieces.
void RequestFramer::compact()
{
    _in.erase(0, _pos);
    _pos = 0;
}

} // namespace pemo
