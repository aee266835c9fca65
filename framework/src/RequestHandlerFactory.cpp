#include "RequestHandlerFactory.h"

#include "pemo/ServiceCore.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPServerRequest.h>

namespace pemo {

RequestHandlerFactory::RequestHandlerFactory(ServiceCore& core) : _core(core)
{
}

Poco::Net::HTTPRequestHandler* RequestHandlerFactory::createRequestHandler(const Poco::Net::HTTPServerRequest& request)
{
    try
    {
        return _core.createRequestHandler(Poco::URI(request.getURI()), request);
    }
    catch (const Poco::SyntaxException&)
    {
        // Poco answers a null handler with 404, which is right for a path
        // that cannot even be parsed.
        return nullptr;
    }
}

} // namespace pemo
