#include "pemo/system/ServiceRestartHandler.h"

#include "pemo/system/HandlerContract.h"
#include "pemo/system/ServiceManager.h"

#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace pemo {
namespace system {

ServiceRestartHandler::ServiceRestartHandler(std::shared_ptr<ServiceManager> serviceManager)
    : SystemHandler("SystemManager.ServiceRestartHandler"), _serviceManager(std::move(serviceManager))
{
}

ServiceRestartHandler::~ServiceRestartHandler() = default;

void ServiceRestartHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("ServiceRestartHandler::post");
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
        logger().warning("ServiceRestartHandler::post malformed body: " + error);
        HandlerContract::sendError(response, Response::HTTP_BAD_REQUEST, HandlerContract::MALFORMED_ARGUMENTS);
        return;
    }
    std::string failure = "Failed to stop services: ";
    try
    {
        _serviceManager->stopServices(names);
        failure = "Failed to start services: ";
        _serviceManager->startServices(names);
    }
    catch (const ServiceManagerException& e)
    {
        logger().warning("ServiceRestartHandler::post " + failure + e.what());
        HandlerContract::sendError(response, Response::HTTP_BAD_REQUEST, failure + e.what());
        return;
    }
    HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
