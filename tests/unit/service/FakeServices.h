#pragma once

#include "LogCapture.h"

#include <pemo/ServiceRecord.h>

#include <Poco/AutoPtr.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Util/JSONConfiguration.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace pemo {
namespace test {

/// One request as a service received it.
struct ReceivedRequest
{
    std::string method;
    std::string path;
    std::string version;
    std::string authentication;
    std::string contentType;
    std::string body;
};

/// A local HTTP service that records every request. It doubles as the
/// registry: GET /registry lists the records given with setRecords(). A
/// silent one never answers anything else until it is destroyed.
class RecordingService
{
public:
    explicit RecordingService(bool silent = false);
    ~RecordingService();

    std::uint16_t port() const;
    void setRecords(const std::vector<pemo::ServiceRecord>& records);
    /// Runs reaction on each request other than the registry listing before
    /// answering it, as a service acting on a management request would.
    void onRequest(std::function<void(const ReceivedRequest&)> reaction);
    /// Every request other than the registry listing, oldest first.
    std::vector<ReceivedRequest> requests() const;

    struct State;

private:
    std::shared_ptr<State> _state;
    std::unique_ptr<Poco::Net::HTTPServer> _server;
};

/// A record for a service at 127.0.0.1:port.
pemo::ServiceRecord recordAt(const std::string& name, std::uint16_t port);

/// A configuration read from JSON text.
Poco::AutoPtr<Poco::Util::JSONConfiguration> jsonConfig(const std::string& json);

} // namespace test
} // namespace pemo
