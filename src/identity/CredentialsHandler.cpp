#include "identity/CredentialsHandler.h"

#include "common/HandlerContract.h"

#include <utility>

namespace pemo {
namespace system {

CredentialsHandler::CredentialsHandler(std::shared_ptr<CredentialsManager> credentialsManager)
    : SystemHandler("SystemManager.CredentialsHandler"), _credentialsManager(std::move(credentialsManager))
{
}

CredentialsHandler::~CredentialsHandler() = default;

void CredentialsHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("CredentialsHandler::get");
    if (!_credentialsManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No CredentialsManager Running");
        return;
    }
    // PENDING(CredentialsManager): the manager call and its answer arrive with the CredentialsManager.
}

void CredentialsHandler::post(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("CredentialsHandler::post");
    if (!_credentialsManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No CredentialsManager Running");
        return;
    }
    // PENDING(CredentialsManager): the manager call and its answer arrive with the CredentialsManager.
}

} // namespace system
} // namespace pemo
