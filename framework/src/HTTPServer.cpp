#include "HTTPServer.h"

#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPServerConnection.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>

namespace pemo {

namespace {

using Poco::Net::HTTPRequestHandlerFactory;

// The request handler and, around it, the connection's busy mark.
class TrackedHandler : public Poco::Net::HTTPRequestHandler
{
public:
    explicit TrackedHandler(Poco::Net::HTTPRequestHandler* inner) : _inner(inner) {}

    void handleRequest(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response) override
    {
        try
        {
            _inner->handleRequest(request, response);
        }
        catch (...)
        {
            IdleConnections::requestEnded(false);
            throw;
        }
        IdleConnections::requestEnded(response.getStatus() == Poco::Net::HTTPResponse::HTTP_SWITCHING_PROTOCOLS);
    }

private:
    std::unique_ptr<Poco::Net::HTTPRequestHandler> _inner;
};

class TrackingFactory : public HTTPRequestHandlerFactory
{
public:
    explicit TrackingFactory(HTTPRequestHandlerFactory::Ptr inner) : _inner(std::move(inner)) {}

    Poco::Net::HTTPRequestHandler* createRequestHandler(const Poco::Net::HTTPServerRequest& request) override
    {
        IdleConnections::requestStarted();
        Poco::Net::HTTPRequestHandler* handler = _inner->createRequestHandler(request);
        if (!handler)
            IdleConnections::requestEnded(false);
        return handler ? new TrackedHandler(handler) : nullptr;
    }

    // Each connection listens to this event to end after its request.
    void stopConnections(const void* sender, bool abortCurrent) { serverStopped(sender, abortCurrent); }

private:
    HTTPRequestHandlerFactory::Ptr _inner;
};

class TrackedConnection : public Poco::Net::HTTPServerConnection
{
public:
    TrackedConnection(const Poco::Net::StreamSocket& socket, Poco::Net::HTTPServerParams::Ptr params,
                      HTTPRequestHandlerFactory::Ptr factory, std::shared_ptr<IdleConnections> connections)
        : HTTPServerConnection(socket, params, factory), _connections(std::move(connections))
    {
    }

    void run() override
    {
        _connections->enter(socket());
        try
        {
            HTTPServerConnection::run();
        }
        catch (...)
        {
            _connections->leave();
            throw;
        }
        _connections->leave();
    }

private:
    std::shared_ptr<IdleConnections> _connections;
};

class ConnectionFactory : public Poco::Net::TCPServerConnectionFactory
{
public:
    ConnectionFactory(Poco::Net::HTTPServerParams::Ptr params, HTTPRequestHandlerFactory::Ptr factory,
                      std::shared_ptr<IdleConnections> connections)
        : _params(std::move(params)), _factory(std::move(factory)), _connections(std::move(connections))
    {
    }

    Poco::Net::TCPServerConnection* createConnection(const Poco::Net::StreamSocket& socket) override
    {
        return new TrackedConnection(socket, _params, _factory, _connections);
    }

private:
    Poco::Net::HTTPServerParams::Ptr _params;
    HTTPRequestHandlerFactory::Ptr _factory;
    std::shared_ptr<IdleConnections> _connections;
};

// Runs on the acceptor thread, before the connection is queued for a worker.
class RoomMaker : public Poco::Net::TCPServerConnectionFilter
{
public:
    explicit RoomMaker(std::shared_ptr<IdleConnections> connections) : _connections(std::move(connections)) {}

    bool accept(const Poco::Net::StreamSocket&) override
    {
        _connections->makeRoom();
        return true;
    }

private:
    std::shared_ptr<IdleConnections> _connections;
};

} // namespace

HTTPServer::HTTPServer(HTTPRequestHandlerFactory::Ptr factory, Poco::ThreadPool& pool,
                       const Poco::Net::ServerSocket& socket, Poco::Net::HTTPServerParams::Ptr params)
    : _connections(std::make_shared<IdleConnections>(params->getMaxThreads())),
      _factory(new TrackingFactory(std::move(factory))),
      _server(new ConnectionFactory(params, _factory, _connections), pool, socket, params)
{
    _server.setConnectionFilter(new RoomMaker(_connections));
}

HTTPServer::~HTTPServer()
{
    stopAll(true);
}

void HTTPServer::start()
{
    _server.start();
}

void HTTPServer::stopAll(bool abortCurrent)
{
    _server.stop();
    static_cast<TrackingFactory&>(*_factory).stopConnections(this, abortCurrent);
}

} // namespace pemo
