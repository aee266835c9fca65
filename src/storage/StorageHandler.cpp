#include "storage/StorageHandler.h"

#include "common/HandlerContract.h"
#include "storage/StorageManager.h"

#include <exception>
#include <vector>

#include <utility>

namespace pemo {
namespace system {

StorageHandler::StorageHandler(std::shared_ptr<StorageManager> storageManager)
    : SystemHandler("SystemManager.StorageHandler"), _storageManager(std::move(storageManager))
{
}

StorageHandler::~StorageHandler() = default;

void StorageHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("StorageHandler::get");
    if (!_storageManager)
    {
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No StorageManager running");
        return;
    }
    std::vector<StorageManager::Mount> mounts;
    try
    {
        mounts = _storageManager->getMounts();
    }
    catch (const std::exception& e)
    {
        logger().error(std::string("StorageHandler::get failed: ") + e.what() + "; answering 500");
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, e.what());
        return;
    }
    HandlerContract::sendResult(response, logger(), "Unable to serialize mounts", CEREAL_NVP(mounts));
}

} // namespace system
} // namespace pemo
