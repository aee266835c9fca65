#pragma once

#include "pemo/ServiceRecord.h"

#include <Poco/Timespan.h>

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace pemo {

/// Talks to the service registry's HTTP interface at "/registry".
/// Every operation throws Poco::Exception (Net or IO) when the registry
/// cannot be reached or answers with an unexpected status.
class ServiceRegistryClient
{
public:
    ServiceRegistryClient();
    ServiceRegistryClient(const std::string& host, std::uint16_t port);

    /// Points the client at a registry; the service core calls this once
    /// before any thread uses the client.
    void setAddress(const std::string& host, std::uint16_t port);
    void setTimeout(const Poco::Timespan& timeout);

    std::string getHost() const;
    std::uint16_t getPort() const;

    /// Adds or refreshes a record (its ttl restarts).
    void registerService(const ServiceRecord& record);
    /// Removes the record with this name; an unknown name is not an error.
    void deleteService(const std::string& name);
    /// Every live record, in name order.
    std::vector<ServiceRecord> getServices() const;
    /// The record with this name, or nothing.
    std::optional<ServiceRecord> findService(const std::string& name) const;

private:
    Poco::Timespan timeout() const;

    mutable std::mutex _mutex;
    std::string _host;
    std::uint16_t _port;
    Poco::Timespan _timeout;
};

} // namespace pemo
