#pragma once

#include <Poco/BufferedStreamBuf.h>
#include <Poco/Exception.h>

#include <cstddef>
#include <istream>

namespace pemo {

/// A body that holds more bytes than its reader accepts.
POCO_DECLARE_EXCEPTION(, BodyTooLargeException, Poco::DataFormatException)

/// The first maxSize bytes of another stream, for reading what another
/// process sends without letting it decide how much memory that takes.
/// Reading past the bound throws BodyTooLargeException out of the read
/// operation (the stream's exception mask holds badbit); a failure of the
/// underlying stream throws Poco::IOException the same way, so a body cut
/// short never passes for a complete one. The underlying stream must outlive
/// this one. The framework hands every handler its request body through one,
/// bounded by the host key pemo.http.max_body.
class BoundedInputStream : public std::istream
{
public:
    BoundedInputStream(std::istream& in, std::size_t maxSize);
    ~BoundedInputStream() override;

private:
    class Buffer : public Poco::BufferedStreamBuf
    {
    public:
        Buffer(std::istream& in, std::size_t maxSize);

    protected:
        int readFromDevice(char* buffer, std::streamsize length) override;

    private:
        std::istream& _in;
        const std::size_t _maxSize;
        std::size_t _remaining;
    };

    Buffer _buffer;
};

} // namespace pemo
