#include "ReactorWakeUp.h"

#include <Poco/Exception.h>
#include <Poco/NObserver.h>
#include <Poco/Net/ServerSocket.h>

namespace pemo {

ReactorWakeUp::ReactorWakeUp(Poco::Net::SocketReactor& reactor) : _reactor(reactor)
{
    Poco::Net::ServerSocket listener(Poco::Net::SocketAddress("127.0.0.1", 0), 1);
    _writer.connect(listener.address());
    _reader = listener.acceptConnection();
    _reader.setBlocking(false);
    _reactor.addEventHandler(_reader, Poco::NObserver<ReactorWakeUp, Poco::Net::ReadableNotification>(
                                          *this, &ReactorWakeUp::onReadable));
}

ReactorWakeUp::~ReactorWakeUp()
{
    _reactor.removeEventHandler(_reader, Poco::NObserver<ReactorWakeUp, Poco::Net::ReadableNotification>(
                                             *this, &ReactorWakeUp::onReadable));
}

void ReactorWakeUp::wake()
{
    const char byte = 0;
    try
    {
        _writer.sendBytes(&byte, 1);
    }
    catch (const Poco::Exception&)
    {
        // The reactor still notices at its next time-out.
    }
}

void ReactorWakeUp::onReadable(const Poco::AutoPtr<Poco::Net::ReadableNotification>&)
{
    char buffer[64];
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
