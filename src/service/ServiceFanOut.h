#pragma once

#include <pemo/ServiceRecord.h>
#include <pemo/ServiceRegistryClient.h>

#include <Poco/Logger.h>

#include <cstdint>
#include <string>
#include <vector>

namespace pemo {
namespace system {

/// Sends one management request to every service the registry knows, and
/// to the registry itself, once per distinct network address.
class ServiceFanOut
{
public:
    /// timeoutMs bounds connecting to, sending to and hearing from each
    /// address.
    ServiceFanOut(pemo::ServiceRegistryClient& registry, std::uint32_t timeoutMs, Poco::Logger& logger);

    /// The registry's records followed by the registry's own record
    /// ("service-registry"). A registry that cannot be asked is logged and
    /// gives only its own record. Never throws.
    std::vector<pemo::ServiceRecord> getRegisteredServices(const std::string& logPrefix) const;

    /// POSTs body (JSON) to path at every address, with the management
    /// authentication. True when every address answered with a 2xx status.
    /// Each failure is logged under logPrefix and the other addresses are
    /// still served; each address's log lines come together, in address
    /// order. An address of this very process is served in-process. Never
    /// throws.
    bool post(const std::string& path, const std::string& body, const std::string& logPrefix) const;

private:
    pemo::ServiceRegistryClient& _registry;
    std::uint32_t _timeoutMs;
    Poco::Logger& _logger;
};

} // namespace system
} // namespace pemo
