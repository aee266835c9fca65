#include "ServiceRegistry.h"

#include <Poco/ClassLibrary.h>

namespace pemo {

ServiceRegistry::ServiceRegistry() : ServiceCore("ServiceRegistry")
{
}

ServiceRegistry::~ServiceRegistry() = default;

void ServiceRegistry::onInitialize(Poco::Util::Application& app)
{
    ServiceCore::onInitialize(app);
    _handler = std::make_unique<RegistryHandler>(_store);
    registerHandler("^/registry(?:/([^/]+))?/?$", _handler.get());
}

} // namespace pemo

POCO_BEGIN_MANIFEST(pemo::ServiceCore)
POCO_EXPORT_INTERFACE(pemo::ServiceRegistry, "ServiceRegistry")
POCO_END_MANIFEST
