#pragma once

#include "HTTPServer.h"
#include "ReactorWakeUp.h"
#include "RouteTable.h"
#include "SessionStore.h"

#include "pemo/ServiceRegistryClient.h"

#include <Poco/Logger.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/SocketReactor.h>
#include <Poco/Thread.h>
#include <Poco/ThreadPool.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace pemo {

/// What a ServiceCore owns besides its hooks: the HTTP server, the socket
/// reactor that carries WebSocket subscribers, the route table, the known
/// sessions and the registry client.
struct ServiceCoreImpl
{
    explicit ServiceCoreImpl(const std::string& name);
    ~ServiceCoreImpl();

    void startReactor();
    /// Stops the reactor and waits for its thread; harmless when stopped.
    void stopReactor();

    std::string name;
    Poco::Logger& logger;
    ServiceRegistryClient registry;
    Poco::Net::SocketReactor reactor;
    // Registered while the reactor runs: it lets the reactor wait without
    // waking up every quarter second, and stop at once.
    std::unique_ptr<ReactorWakeUp> reactorWakeUp;
    Poco::Thread reactorThread;
    RouteTable routes;
    SessionStore sessions;
    std::vector<Port*> ports;
    std::string ownToken;
    std::unique_ptr<Poco::ThreadPool> pool;
    std::unique_ptr<HTTPServer> server;
    // The server's listening socket, closed as soon as serving stops.
    Poco::Net::ServerSocket listener;
    // Where the server listens; requests to it from this process are
    // served in-process while the service runs.
    Poco::Net::SocketAddress address;
    Poco::UInt16 port = 0;
    // The largest request body a handler may be handed (pemo.http.max_body).
    std::size_t maxBody = 1048576;
};

} // namespace pemo
