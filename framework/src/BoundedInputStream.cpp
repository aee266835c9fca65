#include "pemo/BoundedInputStream.h"

#include <algorithm>
#include <string>
#include <typeinfo>

namespace pemo {

POCO_IMPLEMENT_EXCEPTION(BodyTooLargeException, Poco::DataFormatException, "Body too large")

namespace {

const std::streamsize BUFFER_SIZE = 8192;

} // namespace

BoundedInputStream::Buffer::Buffer(std::istream& in, std::size_t maxSize)
    : Poco::BufferedStreamBuf(BUFFER_SIZE, std::ios::in), _in(in), _maxSize(maxSize), _remaining(maxSize)
{
}

int BoundedInputStream::Buffer::readFromDevice(char* buffer, std::streamsize length)
{
    if (_remaining == 0)
    {
        // Only a byte beyond the bound tells a body that is too large from
        // one that is exactly as large as allowed.
        if (_in.peek() != std::char_traits<char>::eof())
            throw BodyTooLargeException("more than " + std::to_string(_maxSize) + " bytes");
        return 0;
    }
    const auto wanted =
        static_cast<std::streamsize>(std::min<std::size_t>(_remaining, static_cast<std::size_t>(length)));
    _in.read(buffer, wanted);
    const std::streamsize n = _in.gcount();
    if (_in.bad())
        throw Poco::IOException("the body could not be read to its end");
    _remaining -= static_cast<std::size_t>(n);
    return static_cast<int>(n);
}

BoundedInputStream::BoundedInputStream(std::istream& in, std::size_t maxSize)
    : std::istream(nullptr), _buffer(in, maxSize)
{
    rdbuf(&_buffer);
    exceptions(std::ios::badbit);
}

BoundedInputStream::~BoundedInputStream() = default;

} // namespace pemo
