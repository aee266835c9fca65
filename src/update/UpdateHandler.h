#pragma once

#include "common/SystemHandler.h"

#include <memory>
#include <string>
#include <vector>

namespace pemo {
namespace system {

class UpdateManager;

/// /update[/filter]: GET lists available updates, PUT downloads, POST applies.
class UpdateHandler : public SystemHandler
{
public:
    /// updateManager may be null: every request is then answered 500 "No UpdateManager running".
    explicit UpdateHandler(std::shared_ptr<UpdateManager> updateManager);
    ~UpdateHandler() override;

    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
    void put(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    /// False, having answered 500, when there is no update manager.
    bool running(Response& response);
    /// Reads {"ids": [...]}; false, having answered 400, when the body has no string array "ids".
    bool readIds(Request& request, Response& response, std::vector<std::string>& ids);

    std::shared_ptr<UpdateManager> _updateManager;
};

} // namespace system
} // namespace pemo
