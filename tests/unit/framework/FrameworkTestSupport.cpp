#include "FrameworkTestSupport.h"

#include "pemo/Authentication.h"

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/StreamCopier.h>
#include <Poco/Util/MapConfiguration.h>

namespace pemo {
namespace test {

Poco::Util::Application& application()
{
    static Poco::Util::Application* app = new Poco::Util::Application;
    Poco::Logger::root().setLevel(Poco::Message::PRIO_WARNING);
    return *app;
}

TestService::TestService(Setup setup, std::map<std::string, std::string> config)
    : ServiceCore("TestService"), _setup(std::move(setup)), _config(std::move(config))
{
    Poco::AutoPtr<Poco::Util::MapConfiguration> layer(new Poco::Util::MapConfiguration);
    layer->setString("pemo.http.port", "0");
    layer->setString("pemo.http.threads", "4");
    layer->setString("pemo.auth.tokens[0]", "trusted");
    for (const auto& [key, value] : _config)
        layer->setString(key, value);
    auto& layered = application().config();
    layered.removeConfiguration(layered.find("test"));
    layered.add(layer, "test", -100, false);
    initialize(application());
}

TestService::~TestService()
{
    stopAll();
    uninitialize();
}

void TestService::startAll()
{
    start();
    _started = true;
}

void TestService::stopAll()
{
    if (_started)
        stop();
    _started = false;
}

void TestService::onInitialize(Poco::Util::Application& app)
{
    ServiceCore::onInitialize(app);
    if (_setup)
        _setup(*this);
}

void TestService::onCreateSession(std::shared_ptr<Session> session)
{
    events.push_back("create:" + session->token);
}

void TestService::onDeleteSession(std::shared_ptr<Session> session)
{
    events.push_back("delete:" + session->token);
}

void TestService::onSelectSession(std::shared_ptr<Session> session)
{
    events.push_back("select:" + session->token);
}

void TestService::onSystemWipe()
{
    events.push_back("wipe");
}

void TestService::onSystemBackup(const std::string& path)
{
    events.push_back("backup:" + path);
}

std::string TestService::onHealth()
{
    return health;
}

Reply request(unsigned port, const std::string& method, const std::string& path, const std::string& token,
              const std::string& body, bool chunked)
{
    Poco::Net::HTTPClientSession session("127.0.0.1", static_cast<Poco::UInt16>(port));
    session.setTimeout(Poco::Timespan(5, 0));
    Poco::Net::HTTPRequest req(method, path, Poco::Net::HTTPMessage::HTTP_1_1);
    if (!token.empty())
        req.set(HTTP_HEADER_AUTHENTICATION, token);
    if (chunked)
        req.setChunkedTransferEncoding(true);
    else
        req.setContentLength(static_cast<std::streamsize>(body.size()));
    session.sendRequest(req) << body;
    Poco::Net::HTTPResponse response;
    std::istream& in = session.receiveResponse(response);
    Reply reply;
    reply.status = response.getStatus();
    reply.reason = response.getReason();
    Poco::StreamCopier::copyToString(in, reply.body);
    return reply;
}

namespace {

class FixedAnswerHandler : public Poco::Net::HTTPRequestHandler
{
public:
    explicit FixedAnswerHandler(const std::string& body) : _body(body) {}
    void handleRequest(Poco::Net::HTTPServerRequest&, Poco::Net::HTTPServerResponse& response) override
    {
        response.sendBuffer(_body.data(), _body.size());
    }

private:
    const std::string& _body;
};

} // namespace

FixedAnswerFactory::FixedAnswerFactory(std::string body) : _body(std::move(body))
{
}

Poco::Net::HTTPRequestHandler* FixedAnswerFactory::createRequestHandler(const Poco::Net::HTTPServerRequest&)
{
    return new FixedAnswerHandler(_body);
}

} // namespace test
} // namespace pemo
