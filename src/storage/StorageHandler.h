#pragma once

#include "common/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class StorageManager;

/// GET /storage/mounts: every mounted file system with its sizes.
class StorageHandler : public SystemHandler
{
public:
    /// storageManager may be null: every request is then answered 500 "No StorageManager running".
    explicit StorageHandler(std::shared_ptr<StorageManager> storageManager);
    ~StorageHandler() override;

    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<StorageManager> _storageManager;
};

} // namespace system
} // namespace pemo
