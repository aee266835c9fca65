#include "pemo/ServiceCore.h"

#include "LocalServices.h"
#include "RequestDispatcher.h"
#include "RequestHandlerFactory.h"
#include "ServiceCoreImpl.h"

#include <Poco/Net/SocketAddress.h>

#include <algorithm>
#include <chrono>

#include <sys/resource.h>

namespace pemo {

namespace {

std::vector<std::string> readList(const Poco::Util::AbstractConfiguration& config, const std::string& key)
{
    std::vector<std::string> values;
    for (int i = 0; config.has(key + "[" + std::to_string(i) + "]"); ++i)
        values.push_back(config.getString(key + "[" + std::to_string(i) + "]"));
    return values;
}

const int LISTEN_BACKLOG = 1024;

std::chrono::seconds seconds(const Poco::Util::AbstractConfiguration& config, const std::string& key, int fallback)
{
    return std::chrono::seconds(std::max(1, config.getInt(key, fallback)));
}

// The open-file soft limit, which the default connection limit is a
// quarter of.
std::size_t openFileLimit()
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return 4096;
    return static_cast<std::size_t>(limit.rlim_cur);
}

HTTPServer::Settings serverSettings(const Poco::Util::AbstractConfiguration& config, std::size_t maxBody)
{
    HTTPServer::Settings settings;
    // At least one worker: a pool of none serves nothing.
    settings.workers = std::max(1, config.getInt("pemo.http.threads", 8));
    settings.request.maxBody = maxBody;
    settings.connections.maxConnections = std::max<std::size_t>(
        1, config.getUInt64("pemo.http.max_connections", ConnectionTable::defaultMaxConnections(openFileLimit())));
    settings.connections.header = seconds(config, "pemo.http.header_timeout", 5);
    settings.connections.body = seconds(config, "pemo.http.body_timeout", 10);
    return settings;
}

// Nothing is done on the reactor's time-out; it is long so that an idle
// service does not wake for it.
const Poco::Timespan REACTOR_TIMEOUT(30, 0);

} // namespace

ServiceCoreImpl::ServiceCoreImpl(const std::string& serviceName)
    : name(serviceName), logger(Poco::Logger::get(serviceName)), reactor(REACTOR_TIMEOUT),
      reactorThread(serviceName + ".reactor")
{
}

void ServiceCoreImpl::startReactor()
{
    reactorWakeUp = std::make_unique<ReactorWakeUp>(reactor);
    reactorThread.start(reactor);
}

void ServiceCoreImpl::stopReactor()
{
    reactor.stop();
    if (reactorWakeUp)
        reactorWakeUp->wake();
    if (reactorThread.isRunning())
        reactorThread.join();
    reactorWakeUp.reset();
}

// A host that never called stop() still must not leave threads running on
// a destroyed reactor or pool; the hooks are not called from here.
ServiceCoreImpl::~ServiceCoreImpl()
{
    LocalServices::instance().remove(address);
    if (server)
    {
        server->stopAll(true);
        pool->joinAll();
    }
    stopReactor();
}

ServiceCore::ServiceCore(const std::string& name) : _impl(std::make_unique<ServiceCoreImpl>(name))
{
}

ServiceCore::~ServiceCore() = default;

const char* ServiceCore::name() const
{
    return _impl->name.c_str();
}

// Binds the listening socket before onInitialize so the service knows its
// own port when it builds its registry record; connections wait in the
// backlog until start().
void ServiceCore::initialize(Poco::Util::Application& app)
{
    const auto& config = app.config();
    const std::string host = config.getString("pemo.http.host", "127.0.0.1");
    const auto port = static_cast<Poco::UInt16>(config.getUInt("pemo.http.port", 0));
    _impl->registry.setAddress(config.getString("pemo.registry.host", "127.0.0.1"),
                               static_cast<Poco::UInt16>(config.getUInt("pemo.registry.port", 8079)));
    const auto tokens = readList(config, "pemo.auth.tokens");
    _impl->sessions.setTrustedTokens(tokens);
    _impl->ownToken = config.getString("pemo.auth.token", tokens.empty() ? std::string() : tokens.front());
    _impl->maxBody = static_cast<std::size_t>(config.getUInt64("pemo.http.max_body", _impl->maxBody));

    // A burst of connections waits in the backlog rather than being
    // refused; the server accepts as fast as they come anyway.
    Poco::Net::ServerSocket socket(Poco::Net::SocketAddress(host, port), LISTEN_BACKLOG);
    _impl->address = socket.address();
    _impl->port = socket.address().port();
    _impl->listener = socket;
    const HTTPServer::Settings settings = serverSettings(config, _impl->maxBody);
    // Every worker thread is started now, so the count is flat from the
    // start: a pool that grew on demand kept each thread it added for good.
    _impl->pool = std::make_unique<Poco::ThreadPool>(settings.workers, settings.workers);
    _impl->server = std::make_unique<HTTPServer>(new RequestHandlerFactory(*this), *_impl->pool, socket, settings);
    logger().information(_impl->name + " will serve on " + host + ":" + std::to_string(_impl->port));
    onInitialize(app);
}

void ServiceCore::uninitialize()
{
    onUninitialize();
    _impl->routes.clear();
    _impl->ports.clear();
}

void ServiceCore::defineOptions(Poco::Util::OptionSet& options)
{
    onDefineOptions(options);
}

// Requests the service makes to itself are served in-process from here on,
// even those made in onStart before the server takes connections.
void ServiceCore::start()
{
    _impl->startReactor();
    LocalServices::instance().add(_impl->address, *this);
    onStart();
    _impl->server->start();
    logger().information(_impl->name + " serving on port " + std::to_string(_impl->port));
}

// Stops taking requests and waits for the running ones before the
// subclass tears its managers down, then stops the reactor before the
// ports drop their subscribers so no reactor callback races the close.
// The listening socket is closed too, so a peer's request is refused at
// once instead of waiting out its time-out in the listen queue; what the
// service asks of itself while onStop winds it down (the exits of its
// children, say) is still served in-process, and the ports pass it on to
// their subscribers before they close.
void ServiceCore::stop()
{
    if (!_impl->server)
        return;
    _impl->server->stopAll(true);
    _impl->listener.close();
    _impl->pool->joinAll();
    onStop();
    LocalServices::instance().remove(_impl->address);
    _impl->stopReactor();
    for (Port* port : _impl->ports)
        port->close();
    _impl->server.reset();
}

void ServiceCore::onCreateSession(std::shared_ptr<Session>)
{
}

void ServiceCore::onDeleteSession(std::shared_ptr<Session>)
{
}

void ServiceCore::onSelectSession(std::shared_ptr<Session>)
{
}

void ServiceCore::onSystemWipe()
{
}

void ServiceCore::onSystemBackup(const std::string&)
{
}

void ServiceCore::onSystemRestore(const std::string&)
{
}

std::string ServiceCore::onHealth()
{
    return "{}";
}

void ServiceCore::onInitialize(Poco::Util::Application&)
{
}

void ServiceCore::onUninitialize()
{
}

void ServiceCore::onDefineOptions(Poco::Util::OptionSet&)
{
}

void ServiceCore::onStart()
{
}

void ServiceCore::onStop()
{
}

Poco::Net::HTTPRequestHandler* ServiceCore::createRequestHandler(const Poco::URI& uri,
                                                                 const Poco::Net::HTTPServerRequest&)
{
    return new RequestDispatcher(*this, *_impl, uri);
}

void ServiceCore::registerHandler(const std::string& regex, HTTPRequestHandler* handler)
{
    _impl->routes.addHandler(regex, handler);
}

void ServiceCore::registerPort(const std::string& regex, Port& port)
{
    _impl->routes.addPort(regex, port);
    _impl->ports.push_back(&port);
}

Poco::Logger& ServiceCore::logger() const
{
    return _impl->logger;
}

ServiceRegistryClient& ServiceCore::registryClient()
{
    return _impl->registry;
}

Poco::Net::SocketReactor& ServiceCore::socketReactor()
{
    return _impl->reactor;
}

std::uint16_t ServiceCore::port() const
{
    return _impl->port;
}

std::string ServiceCore::authenticationToken() const
{
    return _impl->ownToken;
}

} // namespace pemo
