#pragma once

#include "RegistryHandler.h"
#include "RegistryStore.h"

#include "pemo/ServiceCore.h"

#include <memory>

namespace pemo {

/// The platform's service registry, itself a service: it keeps the records
/// other services register and answers the management routes like every
/// other service.
class ServiceRegistry : public ServiceCore
{
public:
    ServiceRegistry();
    ~ServiceRegistry() override;

protected:
    void onInitialize(Poco::Util::Application& app) override;

private:
    RegistryStore _store;
    std::unique_ptr<RegistryHandler> _handler;
};

} // namespace pemo
