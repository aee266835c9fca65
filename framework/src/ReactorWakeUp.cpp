#include "ReactorWakeUp.h"

#include <Poco/NObserver.h>

namespace pemo {

ReactorWakeUp::ReactorWakeUp(Poco::Net::SocketReactor& reactor) : _reactor(reactor)
{
    _reactor.addEventHandler(_socket.reader(), Poco::NObserver<ReactorWakeUp, Poco::Net::ReadableNotification>(
                                                   *this, &ReactorWakeUp::onReadable));
}

ReactorWakeUp::~ReactorWakeUp()
{
    _reactor.removeEventHandler(_socket.reader(), Poco::NObserver<ReactorWakeUp, Poco::Net::ReadableNotification>(
                                                      *this, &ReactorWakeUp::onReadable));
}

void ReactorWakeUp::wake()
{
    _socket.wake();
}

void ReactorWakeUp::onReadable(const Poco::AutoPtr<Poco::Net::ReadableNotification>&)
{
    _socket.drain();
}

} // namespace pemo
