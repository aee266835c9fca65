#include "pemo/system/ServiceStartHandler.h"

#include "pemo/system/HandlerContract.h"
#include "pemo/system/ServiceManager.h"

#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace pemo {
namespace system {

ServiceStartHandler::ServiceStartHandler(std::shared_ptr<ServiceManager> serviceManager)
    : SystemHandler("SystemManager.ServiceStartHandler"), _serviceManager(std::move(serviceManager))
{
}

ServiceStartHandler::~ServiceStartHandler() = default;

void ServiceStartHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("ServiceStartHandler::post");
    // Consume the body first so the connection stays usable whatever the answer.
    const std::string body = HandlerContract::readBody(request.stream());
    if (!_serviceManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No service manager running");
        return;
    }
    std::vector<std::string> names;
    std::istringstream in(body);
    std::string error;
    if (!HandlerContract::readJSON(in, error, cereal::make_nvp("services", names)))
    {
        logger().warning("ServiceStartHandler::post malformed body: " + error);
        HandlerContract::sendError(response, Response::HTTP_BAD_REQUEST, HandlerContract::MALFORMED_ARGUMENTS);
        return;
    }
    try
    {
        _serviceManager->startServices(names);
    }
    catch (const ServiceManagerException& e)
    {
        logger().warning("ServiceStartHandler::post " + std::string(e.what()));
        HandlerContract::sendError(response, Response::HTTP_BAD_REQUEST,
                                   std::string("Failed to start services: ") + e.what());
        return;
    }
    HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
