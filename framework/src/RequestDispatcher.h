#pragma once

#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/URI.h>

#include "pemo/HTTPRequestHandler.h"
#include "pemo/Port.h"
#include "pemo/Session.h"

#include <memory>
#include <string>
#include <vector>

namespace pemo {

class ServiceCore;
struct ServiceCoreImpl;

/// Serves one request: management routes, then the route table in order
/// (404 when nothing matches), the caller's session from the
/// authentication header, the handler's allows() (403), and the method's
/// operation. A matched port takes the connection over as a WebSocket.
class RequestDispatcher : public Poco::Net::HTTPRequestHandler
{
public:
    RequestDispatcher(ServiceCore& core, ServiceCoreImpl& impl, const Poco::URI& uri);

    void handleRequest(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response) override;

private:
    void dispatch(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response);
    void subscribe(Port& port, Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response);
    void callMethod(pemo::HTTPRequestHandler& handler, Poco::Net::HTTPServerRequest& request,
                    Poco::Net::HTTPServerResponse& response, const std::vector<std::string>& captures,
                    std::shared_ptr<Session> session);

    ServiceCore& _core;
    ServiceCoreImpl& _impl;
    Poco::URI _uri;
};

} // namespace pemo
