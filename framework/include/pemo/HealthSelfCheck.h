#pragma once

#include <Poco/Timespan.h>

#include <cstdint>
#include <string>

namespace pemo {

/// The host's proof that its service still serves: a GET of the service's
/// own "/_M_/health" over TCP, with the management token, through the same
/// listener, worker pool and dispatcher that every caller goes through. It
/// passes only on a 200 within the time limit, so a hung server, a worker
/// pool with no free worker or a stuck dispatcher fails it.
class HealthSelfCheck
{
public:
    /// host is the service's listening address (a wildcard address is
    /// reached on the loopback of its family); limit bounds connecting,
    /// sending and each read of the answer.
    HealthSelfCheck(const std::string& host, std::uint16_t port, Poco::Timespan limit);

    /// True when the service answered 200 in time. A failure is logged with
    /// its reason.
    bool operator()() const;

private:
    std::string _host;
    std::uint16_t _port;
    Poco::Timespan _limit;
};

} // namespace pemo
