#include "storage/StorageHandler.h"

#include "common/HandlerContract.h"

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
    // PENDING(StorageManager): the manager call and its answer arrive with the StorageManager.
}

} // namespace system
} // namespace pemo
