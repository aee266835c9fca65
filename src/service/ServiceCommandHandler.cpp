#include "service/ServiceCommandHandler.h"

#include "common/HandlerContract.h"
#include "service/ServiceManager.h"

#include <utility>

namespace pemo {
namespace system {

ServiceCommandHandler::ServiceCommandHandler(const std::string& loggerName,
                                             std::shared_ptr<ServiceManager> serviceManager)
    : SystemHandler(loggerName), _serviceManager(std::move(serviceManager))
{
}

ServiceCommandHandler::~ServiceCommandHandler() = default;

bool ServiceCommandHandler::readNames(Request& request, Response& response, const std::string& operation,
                                      std::vector<std::string>& names)
{
    // Consume the body first so the connection stays usable whatever the answer.
    const std::string body = HandlerContract::readBody(request.stream());
    if (!_serviceManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No service manager running");
        return false;
    }
    return readArguments(body, response, operation, cereal::make_nvp("services", names));
}

bool ServiceCommandHandler::runStep(Response& response, const std::string& operation, const std::string& failure,
                                    const std::function<void()>& step)
{
    try
    {
        step();
        return true;
    }
    catch (const ServiceManagerException& e)
    {
        logger().warning(operation + " " + failure + e.what());
        HandlerContract::sendError(response, Response::HTTP_BAD_REQUEST, failure + e.what());
        return false;
    }
}

ServiceManager& ServiceCommandHandler::serviceManager() const
{
    return *_serviceManager;
}

} // namespace system
} // namespace pemo
