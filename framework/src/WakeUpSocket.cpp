#include "WakeUpSocket.h"

#include <Poco/Exception.h>
#include <Poco/Net/ServerSocket.h>

namespace pemo {

WakeUpSocket::WakeUpSocket()
{
    Poco::Net::ServerSocket listener(Poco::Net::SocketAddress("127.0.0.1", 0), 1);
    _writer.connect(listener.address());
    _reader = listener.acceptConnection();
    _reader.setBlocking(false);
    _writer.setBlocking(false);
}

const Poco::Net::StreamSocket& WakeUpSocket::reader() const
{
    return _reader;
}

void WakeUpSocket::wake()
{
    const char byte = 0;
    try
    {
        _writer.sendBytes(&byte, 1);
    }
    catch (const Poco::Exception&)
    {
        // A full pipe of wake-ups is as good as one more.
    }
}

void WakeUpSocket::drain()
{
    char buffer[256];
    try
    {
        while (_reader.receiveBytes(buffer, sizeof buffer) > 0)
        {
        }
    }
    catch (const Poco::Exception&)
    {
        // Drained: a non-blocking read with nothing left.
    }
}

} // namespace pemo
