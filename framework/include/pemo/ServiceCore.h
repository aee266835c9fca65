#pragma once

#include "pemo/HTTPRequestHandler.h"
#include "pemo/Permissions.h"
#include "pemo/Port.h"
#include "pemo/ServiceRegistryClient.h"
#include "pemo/Session.h"

#include <Poco/Logger.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/SocketReactor.h>
#include <Poco/URI.h>
#include <Poco/Util/Application.h>
#include <Poco/Util/OptionSet.h>
#include <Poco/Util/Subsystem.h>

#include <cstdint>
#include <memory>
#include <string>

namespace pemo {

struct ServiceCoreImpl;

/// Base of a service: a Poco subsystem that the host initialises, starts,
/// stops and uninitialises, turning each step into a hook.
///
/// initialize() reads the host's configuration ("pemo.http.*",
/// "pemo.registry.*", "pemo.auth.*"), binds the HTTP server socket so
/// port() is known, then calls onInitialize(). start() starts the socket
/// reactor, calls onStart() and then starts serving. stop() stops serving,
/// calls onStop() and closes the ports once what they were given is sent.
/// From start() until onStop() has returned, an HTTPExchange of this
/// process with the service's address is served in-process. Subclasses
/// register their routes and ports in onInitialize().
///
/// Every request is dispatched to the first handler whose expression
/// matches the path (in registration order), after the caller's session is
/// built from the "Pemo-Authenticate" header and the handler's allows() has
/// accepted its permissions: 404 when no expression matches, 403 when the
/// handler refuses. The management routes under "/_M_/" are answered by the
/// core itself and turned into the onCreateSession ... onSystemRestore hooks;
/// "/_M_/health" serves onHealth().
class ServiceCore : public Poco::Util::Subsystem
{
public:
    explicit ServiceCore(const std::string& name);
    ~ServiceCore() override;

    const char* name() const override;

protected:
    void initialize(Poco::Util::Application& app) override;
    void uninitialize() override;
    void defineOptions(Poco::Util::OptionSet& options) override;

public:
    virtual void start();
    virtual void stop();

    virtual void onCreateSession(std::shared_ptr<Session> session);
    virtual void onDeleteSession(std::shared_ptr<Session> session);
    virtual void onSelectSession(std::shared_ptr<Session> session);
    virtual void onSystemWipe();
    virtual void onSystemBackup(const std::string& path);
    virtual void onSystemRestore(const std::string& path);
    /// The service's health report as JSON text.
    virtual std::string onHealth();

protected:
    virtual void onInitialize(Poco::Util::Application& app);
    virtual void onUninitialize();
    virtual void onDefineOptions(Poco::Util::OptionSet& options);
    virtual void onStart();
    virtual void onStop();

public:
    /// Builds the handler for one request; the HTTP server calls it on its
    /// own threads. Returns null only for an unparsable request.
    virtual Poco::Net::HTTPRequestHandler* createRequestHandler(const Poco::URI& uri,
                                                                const Poco::Net::HTTPServerRequest& request);
    /// The TCP port the service is served on; known after initialize().
    std::uint16_t port() const;

protected:
    /// Routes paths matching regex to handler. The caller keeps ownership
    /// and must keep the handler alive until the service is stopped. Routes
    /// and ports are registered in onInitialize only: requests look them up
    /// without a lock.
    /// Throws Poco::RegularExpressionException for a bad expression.
    void registerHandler(const std::string& regex, HTTPRequestHandler* handler);
    /// Subscribes WebSocket clients whose path matches regex to port.
    /// Subscribers need the same full permissions as every route.
    void registerPort(const std::string& regex, Port& port);

    Poco::Logger& logger() const;
    ServiceRegistryClient& registryClient();
    Poco::Net::SocketReactor& socketReactor();
    /// The token this service itself sends to peers ("pemo.auth.token").
    std::string authenticationToken() const;

private:
    std::unique_ptr<ServiceCoreImpl> _impl;
};

} // namespace pemo
