#pragma once

#include "Eventually.h"
#include "pemo/ServiceCore.h"

#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Util/Application.h>

#include <functional>
#include <map>
#include <string>

namespace pemo {
namespace test {

/// The one application object the framework reads its configuration from.
Poco::Util::Application& application();

/// A service built on the framework, started on a free port, with one
/// trusted token "trusted" and whatever routes the test registers in setup.
class TestService : public ServiceCore
{
public:
    using Setup = std::function<void(TestService&)>;

    explicit TestService(Setup setup = {}, std::map<std::string, std::string> config = {});
    ~TestService() override;

    void startAll();
    void stopAll();

    using ServiceCore::port;
    using ServiceCore::registerHandler;
    using ServiceCore::registerPort;
    using ServiceCore::registryClient;
    using ServiceCore::socketReactor;

    // What the management hooks saw, in order, e.g. "create:tok".
    std::vector<std::string> events;
    std::string health = "{\"ok\": true}";

    void onCreateSession(std::shared_ptr<Session> session) override;
    void onDeleteSession(std::shared_ptr<Session> session) override;
    void onSelectSession(std::shared_ptr<Session> session) override;
    void onSystemWipe() override;
    void onSystemBackup(const std::string& path) override;
    std::string onHealth() override;

protected:
    void onInitialize(Poco::Util::Application& app) override;

private:
    Setup _setup;
    std::map<std::string, std::string> _config;
    bool _started = false;
};

struct Reply
{
    int status = 0;
    std::string reason;
    std::string body;
};

/// One HTTP exchange with 127.0.0.1:port; token goes in the
/// authentication header unless empty; the body is sent chunked if asked.
Reply request(unsigned port, const std::string& method, const std::string& path, const std::string& token = "",
              const std::string& body = "", bool chunked = false);

/// A plain Poco handler factory whose every answer is 200 with body: the
/// bare server the framework's is measured against, and a server's
/// simplest load.
class FixedAnswerFactory : public Poco::Net::HTTPRequestHandlerFactory
{
public:
    explicit FixedAnswerFactory(std::string body);
    Poco::Net::HTTPRequestHandler* createRequestHandler(const Poco::Net::HTTPServerRequest& request) override;

private:
    std::string _body;
};

} // namespace test
} // namespace pemo
