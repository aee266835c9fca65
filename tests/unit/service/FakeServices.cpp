#include "FakeServices.h"

#include "common/JSON.h"

#include <pemo/Authentication.h>

#include <Poco/Event.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/StreamCopier.h>

#include <mutex>
#include <sstream>
#include <utility>

namespace pemo {
namespace test {

struct RecordingService::State
{
    bool silent = false;
    mutable std::mutex mutex;
    std::vector<pemo::ServiceRecord> records;
    std::vector<ReceivedRequest> requests;
    std::function<void(const ReceivedRequest&)> reaction;
    Poco::Event released{Poco::Event::EVENT_MANUALRESET};
};

namespace {

class Handler : public Poco::Net::HTTPRequestHandler
{
public:
    explicit Handler(std::shared_ptr<RecordingService::State> state) : _state(std::move(state)) {}

    void handleRequest(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response) override
    {
        ReceivedRequest received{request.getMethod(), request.getURI(), request.getVersion(),
                                 request.get(pemo::HTTP_HEADER_AUTHENTICATION, ""), request.getContentType(), ""};
        Poco::StreamCopier::copyToString(request.stream(), received.body);
        if (received.method == "GET" && received.path == "/registry")
            return listRecords(response);
        std::function<void(const ReceivedRequest&)> reaction;
        {
            std::lock_guard<std::mutex> lock(_state->mutex);
            _state->requests.push_back(received);
            reaction = _state->reaction;
        }
        if (reaction)
            reaction(received);
        if (_state->silent)
            _state->released.wait();
        response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_NO_CONTENT);
        response.setContentLength(0);
        response.send();
    }

private:
    void listRecords(Poco::Net::HTTPServerResponse& response)
    {
        std::ostringstream out;
        {
            std::lock_guard<std::mutex> lock(_state->mutex);
            cereal::JSONOutputArchive archive(out);
            archive(cereal::make_nvp("services", _state->records));
        }
        response.setContentType("application/json");
        response.sendBuffer(out.str().data(), out.str().size());
    }

    std::shared_ptr<RecordingService::State> _state;
};

class Factory : public Poco::Net::HTTPRequestHandlerFactory
{
public:
    explicit Factory(std::shared_ptr<RecordingService::State> state) : _state(std::move(state)) {}

    Poco::Net::HTTPRequestHandler* createRequestHandler(const Poco::Net::HTTPServerRequest&) override
    {
        return new Handler(_state);
    }

private:
    std::shared_ptr<RecordingService::State> _state;
};

} // namespace

RecordingService::RecordingService(bool silent) : _state(std::make_shared<State>())
{
    _state->silent = silent;
    Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", 0));
    auto* params = new Poco::Net::HTTPServerParams;
    params->setMaxThreads(4);
    _server = std::make_unique<Poco::Net::HTTPServer>(new Factory(_state), socket, params);
    _server->start();
}

RecordingService::~RecordingService()
{
    _state->released.set();
    _server->stopAll(true);
}

std::uint16_t RecordingService::port() const
{
    return _server->socket().address().port();
}

void RecordingService::setRecords(const std::vector<pemo::ServiceRecord>& records)
{
    std::lock_guard<std::mutex> lock(_state->mutex);
    _state->records = records;
}

void RecordingService::onRequest(std::function<void(const ReceivedRequest&)> reaction)
{
    std::lock_guard<std::mutex> lock(_state->mutex);
    _state->reaction = std::move(reaction);
}

std::vector<ReceivedRequest> RecordingService::requests() const
{
    std::lock_guard<std::mutex> lock(_state->mutex);
    return _state->requests;
}

pemo::ServiceRecord recordAt(const std::string& name, std::uint16_t port)
{
    pemo::ServiceRecord record;
    record.name = name;
    record.host = "127.0.0.1";
    record.port = port;
    record.path = "/";
    return record;
}

Poco::AutoPtr<Poco::Util::JSONConfiguration> jsonConfig(const std::string& json)
{
    std::istringstream in(json);
    return new Poco::Util::JSONConfiguration(in);
}

} // namespace test
} // namespace pemo
