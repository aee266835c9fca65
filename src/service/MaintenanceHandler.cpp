#include "service/MaintenanceHandler.h"

#include "common/HandlerContract.h"
#include "service/ServiceManager.h"

#include <Poco/Exception.h>

#include <exception>
#include <utility>

namespace pemo {
namespace system {

MaintenanceHandler::MaintenanceHandler(const std::string& name, const std::string& failure,
                                       std::shared_ptr<ServiceManager> serviceManager, Operation operation)
    : SystemHandler("SystemManager." + name), _name(name), _failure(failure),
      _serviceManager(std::move(serviceManager)), _operation(operation)
{
}

MaintenanceHandler::~MaintenanceHandler() = default;

void MaintenanceHandler::fail(Response& response, const std::string& message)
{
    logger().error(_name + "::post " + message);
    HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, _failure);
}

void MaintenanceHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace(_name + "::post");
    if (!_serviceManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No service manager");
        return;
    }
    try
    {
        ((*_serviceManager).*_operation)();
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
