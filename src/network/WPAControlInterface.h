#pragma once

#include <string>

namespace pemo {
namespace system {

/// The client of wpa_supplicant's control socket for one wireless
/// interface.
///
/// So far this holds only the listener interface through which event lines
/// are delivered; the control interface itself (connections, requests, the
/// event poller and its reconnection timer) is still to be written.
class WPAControlInterface
{
public:
    /// Receives every unsolicited event line wpa_supplicant sends. Called on
    /// the interface's event thread with the interface's lock held, so an
    /// implementation must not call back into the interface.
    class Monitor
    {
    public:
        virtual void onMessage(const std::string& message) = 0;
        virtual ~Monitor() = default;
    };
};

} // namespace system
} // namespace pemo
