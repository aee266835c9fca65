#pragma once

#include <Poco/Net/StreamSocket.h>

namespace pemo {

/// A loopback connection of its own, whose reading end a poll loop waits on
/// beside its real sockets: wake() from any thread ends that wait at once,
/// so the loop needs no periodic time-out to notice work handed to it.
class WakeUpSocket
{
public:
    /// Throws Poco::Exception when the loopback connection cannot be made.
    WakeUpSocket();

    WakeUpSocket(const WakeUpSocket&) = delete;
    WakeUpSocket& operator=(const WakeUpSocket&) = delete;

    /// The end to wait on for readability; non-blocking.
    const Poco::Net::StreamSocket& reader() const;

    /// Makes the reader readable; safe from any thread.
    void wake();

    /// Reads every pending wake-up, so the reader waits again.
    void drain();

private:
    Poco::Net::StreamSocket _reader;
    Poco::Net::StreamSocket _writer;
};

} // namespace pemo
