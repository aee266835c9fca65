#include "pemo/system/WipeHandler.h"

#include "pemo/system/HandlerContract.h"
#include "pemo/system/ServiceManager.h"

#include <Poco/Exception.h>

#include <exception>
#include <utility>

namespace pemo {
namespace system {

WipeHandler::WipeHandler(std::shared_ptr<ServiceManager> serviceManager)
    : SystemHandler("SystemManager.WipeHandler"), _serviceManager(std::move(serviceManager))
{
}

WipeHandler::~WipeHandler() = default;

void WipeHandler::fail(Response& response, const std::string& message)
{
    logger().error("WipeHandler::post " + message);
    HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "Failed to do system wipe");
}

void WipeHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("WipeHandler::post");
    if (!_serviceManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No service manager");
        return;
    }
    try
    {
        _serviceManager->wipe();
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
