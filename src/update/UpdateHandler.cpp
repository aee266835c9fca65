#include "update/UpdateHandler.h"

#include "common/HandlerContract.h"
#include "update/UpdateManager.h"

#include <sstream>
#include <utility>

namespace pemo {
namespace system {

namespace {

// The updates array as clients see it.
struct ClientUpdates
{
    const std::vector<Update>& updates;

    void save(cereal::JSONOutputArchive& archive) const
    {
        archive(cereal::make_size_tag(static_cast<cereal::size_type>(updates.size())));
        for (const auto& update : updates)
            archive(ClientUpdate{update});
    }
};

// cereal writes nothing at all for an archive given no member.
const std::string EMPTY_OBJECT = "{}";

} // namespace

UpdateHandler::UpdateHandler(std::shared_ptr<UpdateManager> updateManager)
    : SystemHandler("SystemManager.UpdateHandler"), _updateManager(std::move(updateManager))
{
}

UpdateHandler::~UpdateHandler() = default;

bool UpdateHandler::running(Response& response)
{
    if (_updateManager)
        return true;
    HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "No UpdateManager running");
    return false;
}

bool UpdateHandler::readIds(Request& request, Response& response, std::vector<std::string>& ids)
{
    std::string error;
    if (HandlerContract::readJSON(request.stream(), error, cereal::make_nvp("ids", ids)))
        return true;
    logger().warning("Update request refused: " + error);
    HandlerContract::sendError(response, Response::HTTP_BAD_REQUEST, HandlerContract::MALFORMED_ARGUMENTS);
    return false;
}

void UpdateHandler::get(Request&, Response& response, const Captures& captures, SessionPtr)
{
    logger().trace("Update GET");
    if (!running(response))
        return;
    if (captures.size() > 1)
    {
        HandlerContract::sendError(response, Response::HTTP_BAD_REQUEST);
        return;
    }
    const std::string filter = captures.empty() ? std::string() : captures[0];
    const GetUpdateResult result = _updateManager->getUpdates(filter);
    if (result.success)
        HandlerContract::sendResult(response, logger(), "Could not serialize updates",
                                    cereal::make_nvp("updates", ClientUpdates{result.updates}));
    else
        HandlerContract::sendResult(response, logger(), "Could not serialize updates",
                                    cereal::make_nvp("error", result.reason));
}

void UpdateHandler::put(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("Update PUT");
    std::vector<std::string> ids;
    if (!running(response) || !readIds(request, response, ids))
        return;
    std::ostringstream out;
    _updateManager->downloadUpdates(ids, out);
    const std::string body = out.str();
    if (body.empty())
        logger().information("Successful update download");
    else
        logger().error("Failed to download update");
    HandlerContract::sendJSON(response, body);
}

void UpdateHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("Update POST");
    std::vector<std::string> ids;
    if (!running(response) || !readIds(request, response, ids))
        return;
    const ApplyUpdateResult result = _updateManager->applyUpdates(ids);
    if (result.success)
    {
        logger().information("Successful apply update");
        HandlerContract::sendJSON(response, EMPTY_OBJECT);
        return;
    }
    logger().error("Failed to apply update: " + result.reason);
    HandlerContract::sendResult(response, logger(), "Could not serialize result", cereal::make_nvp("error", result.reason));
}

} // namespace system
} // namespace pemo
