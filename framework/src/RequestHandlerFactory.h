#pragma once

#include <Poco/Net/HTTPRequestHandlerFactory.h>

namespace pemo {

class ServiceCore;

/// Hands every request of the HTTP server to ServiceCore::createRequestHandler.
class RequestHandlerFactory : public Poco::Net::HTTPRequestHandlerFactory
{
public:
    explicit RequestHandlerFactory(ServiceCore& core);

    Poco::Net::HTTPRequestHandler* createRequestHandler(const Poco::Net::HTTPServerRequest& request) override;

private:
    ServiceCore& _core;
};

} // namespace pemo
