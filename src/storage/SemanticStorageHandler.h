#pragma once

#include "common/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class StorageManager;

/// GET /storage/semantic: the space used by each named storage area.
class SemanticStorageHandler : public SystemHandler
{
public:
    /// storageManager may be null: every request is then answered 500 "No StorageManager running".
    explicit SemanticStorageHandler(std::shared_ptr<StorageManager> storageManager);
    ~SemanticStorageHandler() override;

    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<StorageManager> _storageManager;
};

} // namespace system
} // namespace pemo
