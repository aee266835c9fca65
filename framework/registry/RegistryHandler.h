#pragma once

#include "RegistryStore.h"

#include "pemo/HTTPRequestHandler.h"

#include <Poco/Logger.h>

namespace pemo {

/// The registry's HTTP interface at "/registry": GET lists every record
/// ({"services": [...]}), GET /registry/NAME answers one record (404 when
/// unknown), POST registers or refreshes the record in the body (204),
/// DELETE /registry/NAME removes one (204, or 404 when unknown).
/// Discovery is open to every local caller, so allows() accepts anyone.
class RegistryHandler : public HTTPRequestHandler
{
public:
    explicit RegistryHandler(RegistryStore& store);

    bool allows(const Permissions& held) const override;
    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
    void del(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    RegistryStore& _store;
    Poco::Logger& _logger;
};

} // namespace pemo
