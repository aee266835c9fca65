#pragma once

#include <Poco/Logger.h>
#include <Poco/Net/SocketNotification.h>
#include <Poco/Net/SocketReactor.h>
#include <Poco/Net/WebSocket.h>
#include <Poco/NotificationCenter.h>

#include <atomic>
#include <memory>
#include <string>

namespace pemo {

/// One WebSocket connection to the system manager's notification port;
/// every text frame it receives is posted as a SystemNotificationEvent.
/// Once the connection ends it stays dead; its owner makes a new one.
class SystemNotificationSubscription
{
public:
    /// Connects at once; throws Poco::Exception when that fails.
    SystemNotificationSubscription(const std::string& host, unsigned port, const std::string& path,
                                   const std::string& token, Poco::Net::SocketReactor& reactor,
                                   Poco::NotificationCenter& center);
    ~SystemNotificationSubscription();

    bool dead() const;

private:
    void onReadable(const Poco::AutoPtr<Poco::Net::ReadableNotification>& notification);
    void onError(const Poco::AutoPtr<Poco::Net::ErrorNotification>& notification);
    /// Receives one frame and posts it if it is text; false once the
    /// connection has ended. Throws Poco::Exception on a broken connection.
    bool receiveOne();
    void detach();

    Poco::Net::SocketReactor& _reactor;
    Poco::NotificationCenter& _center;
    Poco::Logger& _logger;
    std::unique_ptr<Poco::Net::WebSocket> _socket;
    std::atomic<bool> _dead;
    std::atomic<bool> _attached;
};

} // namespace pemo
