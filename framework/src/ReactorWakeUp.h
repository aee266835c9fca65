#pragma once

#include "WakeUpSocket.h"

#include <Poco/Net/SocketNotification.h>
#include <Poco/Net/SocketReactor.h>

namespace pemo {

/// A loopback connection of its own registered with a socket reactor. With
/// it the reactor always has a socket to wait on, so it waits in poll for
/// events however long its time-out is, instead of sleeping out the time-out
/// and looking again while it has no subscribers; wake() ends that wait at
/// once, which is how the reactor is stopped promptly.
class ReactorWakeUp
{
public:
    /// Connects the pair and registers it. Throws Poco::Exception when the
    /// loopback connection cannot be made.
    explicit ReactorWakeUp(Poco::Net::SocketReactor& reactor);
    ~ReactorWakeUp();

    ReactorWakeUp(const ReactorWakeUp&) = delete;
    ReactorWakeUp& operator=(const ReactorWakeUp&) = delete;

    /// Makes the reactor's wait return; safe from any thread.
    void wake();

private:
    void onReadable(const Poco::AutoPtr<Poco::Net::ReadableNotification>& notification);

    Poco::Net::SocketReactor& _reactor;
    WakeUpSocket _socket;
};

} // namespace pemo
