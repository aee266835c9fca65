#pragma once

#include "IdleConnections.h"

#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/TCPServer.h>
#include <Poco/ThreadPool.h>

#include <memory>

namespace pemo {

/// Poco's HTTP server, serving each connection on a worker of the pool as
/// Poco::Net::HTTPServer does, except that idle kept-alive connections give
/// their workers up to new connections (see IdleConnections): however many
/// idle connections clients hold open, a new one is served at once.
class HTTPServer
{
public:
    /// The pool has at least params->getMaxThreads() threads.
    HTTPServer(Poco::Net::HTTPRequestHandlerFactory::Ptr factory, Poco::ThreadPool& pool,
               const Poco::Net::ServerSocket& socket, Poco::Net::HTTPServerParams::Ptr params);
    ~HTTPServer();

    HTTPServer(const HTTPServer&) = delete;
    HTTPServer& operator=(const HTTPServer&) = delete;

    void start();
    /// Stops accepting and tells every connection to end after its current
    /// request, or at once with abortCurrent.
    void stopAll(bool abortCurrent);

private:
    std::shared_ptr<IdleConnections> _connections;
    Poco::Net::HTTPRequestHandlerFactory::Ptr _factory;
    Poco::Net::TCPServer _server;
};

} // namespace pemo
