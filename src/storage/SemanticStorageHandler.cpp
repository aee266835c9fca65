#include "storage/SemanticStorageHandler.h"

#include "common/HandlerContract.h"
#include "storage/StorageManager.h"

#include <exception>
#include <vector>

#include <utility>

namespace pemo {
namespace system {

SemanticStorageHandler::SemanticStorageHandler(std::shared_ptr<StorageManager> storageManager)
    : SystemHandler("SystemManager.SemanticStorageHandler"), _storageManager(std::move(storageManager))
{
}

SemanticStorageHandler::~SemanticStorageHandler() = default;

void SemanticStorageHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("SemanticUsageHandler::get");
    if (!_storageManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No StorageManager running");
        return;
    }
    std::vector<StorageManager::SemanticUsage> usage;
    try
    {
        usage = _storageManager->getSemanticStorage();
    }
    catch (const std::exception& e)
    {
        logger().error(std::string("SemanticStorageHandler::get failed: ") + e.what() + "; answering 500");
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, e.what());
        return;
    }
    HandlerContract::sendResult(response, logger(), "Unable to serialize usage", CEREAL_NVP(usage));
}

} // namespace system
} // namespace pemo
