#include "pemo/system/BackupHandler.h"

#include "pemo/system/HandlerContract.h"
#include "pemo/system/ServiceManager.h"

#include <Poco/Exception.h>

#include <exception>
#include <utility>

namespace pemo {
namespace system {

BackupHandler::BackupHandler(std::shared_ptr<ServiceManager> serviceManager)
    : SystemHandler("SystemManager.BackupHandler"), _serviceManager(std::move(serviceManager))
{
}

BackupHandler::~BackupHandler() = default;

void BackupHandler::fail(Response& response, const std::string& message)
{
    logger().error("BackupHandler::post " + message);
    HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "Failed to do system backup");
}

void BackupHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("BackupHandler::post");
    if (!_serviceManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No service manager");
        return;
    }
    try
    {
        _serviceManager->backup();
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
