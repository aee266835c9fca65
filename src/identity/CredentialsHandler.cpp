#include "identity/CredentialsHandler.h"

#include "common/HandlerContract.h"
#include "identity/CredentialsManager.h"

#include <exception>
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
    pemo::Credentials credentials;
    try
    {
        credentials = _credentialsManager->getCredentials();
    }
    catch (const std::exception& e)
    {
        logger().warning(std::string("CredentialsHandler::get failed: ") + e.what() + "; answering 500");
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR,
                                   std::string("Error getting credentials: ") + e.what());
        return;
    }
    HandlerContract::sendResult(response, logger(), "Could not serialize credentials",
                                cereal::make_nvp("credentials", credentials));
}

void CredentialsHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("CredentialsHandler::post");
    if (!_credentialsManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No CredentialsManager Running");
        return;
    }
    pemo::Credentials credentials;
    if (!readArguments(request.stream(), response, "CredentialsHandler::post",
                       cereal::make_nvp("accessKeyId", credentials.accessKeyId),
                       cereal::make_nvp("secretAccessKey", credentials.secretAccessKey),
                       cereal::make_nvp("region", credentials.region)))
        return;
    try
    {
        _credentialsManager->setCredentials(credentials);
    }
    catch (const std::exception& e)
    {
        logger().error(std::string("CredentialsHandler::post failed: ") + e.what() + "; answering 500");
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, e.what());
        return;
    }
    HandlerContract::sendNoContent(response);
}

} // namespace system
} // namespace pemo
