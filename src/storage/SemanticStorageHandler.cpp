#include "storage/SemanticStorageHandler.h"

#include "common/HandlerContract.h"

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
    // PENDING(StorageManager): the manager call and its answer arrive with the StorageManager.
}

} // namespace system
} // namespace pemo
