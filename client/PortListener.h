#pragma once

#include "Settings.h"

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/WebSocket.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace pemo {
namespace client {

/// A subscription to one of the system manager's WebSocket ports
/// (/system_notifications, /wifi/messages): every frame broadcast there
/// after the subscription, as it was sent.
class PortListener
{
public:
    /// Subscribes at path. Throws ClientError: EXIT_UNREACHABLE when
    /// nothing answers, the status's code when the upgrade is refused.
    PortListener(const Settings& settings, const std::string& path);
    ~PortListener();

    PortListener(const PortListener&) = delete;
    PortListener& operator=(const PortListener&) = delete;

    /// The next text frame, or nothing when none came within timeout
    /// seconds (none: wait for ever). Throws ClientError (EXIT_UNREACHABLE)
    /// when the system manager closes the subscription.
    std::optional<std::string> next(std::optional<unsigned> timeout);

    /// Hands every frame to print until the subscription ends: only the
    /// first when follow is false. Throws as next(); a first frame that does
    /// not come within timeout seconds throws ClientError (EXIT_FAILED).
    void listen(bool follow, std::optional<unsigned> timeout, const std::function<void(const std::string&)>& print);

private:
    std::string _what;
    std::unique_ptr<Poco::Net::HTTPClientSession> _session;
    std::unique_ptr<Poco::Net::WebSocket> _socket;
};

} // namespace client
} // namespace pemo
