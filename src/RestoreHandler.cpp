#include "pemo/system/RestoreHandler.h"

#include "pemo/system/HandlerContract.h"
#include "pemo/system/ServiceManager.h"

#include <Poco/Exception.h>

#include <exception>
#include <utility>

namespace pemo {
namespace system {

RestoreHandler::RestoreHandler(std::shared_ptr<ServiceManager> serviceManager)
    : SystemHandler("SystemManager.RestoreHandler"), _serviceManager(std::move(serviceManager))
{
}

RestoreHandler::~RestoreHandler() = default;

void RestoreHandler::fail(Response& response, const std::string& message)
{
    logger().error("RestoreHandler::post " + message);
    HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "Failed to do system restore");
}

void RestoreHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("RestoreHandler::post");
    if (!_serviceManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No service manager");
        return;
    }
    try
    {
        _serviceManager->restore();
    }
    catch (const Poco::Exception& e)
    {
        fail(response, e.displayText());
        return;
    }
    catch (const std::exception& e)
    {
        fail(response, e.what());
        return;
    }
    HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
