#include "identity/IdentityHandler.h"

#include "common/HandlerContract.h"

#include <fstream>

namespace pemo {
namespace system {

const std::string IdentityHandler::DEFAULT_PATH("/var/pemo/identity.json");

IdentityHandler::IdentityHandler(const std::string& path) : SystemHandler("SystemManager.IdentityHandler"), _path(path)
{
}

IdentityHandler::~IdentityHandler() = default;

void IdentityHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("IdentityHandler::get");
    // Read on every request: the factory may provision the file after the
    // daemon has started.
    std::ifstream file(_path);
    if (!file)
    {
        logger().error("IdentityHandler::get cannot open " + _path);
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "Unable to read identity file");
        return;
    }

    std::string serial;
    std::string name;
    std::string cpuid;
    std::string mac;
    std::string error;
    if (!HandlerContract::readJSON(file, error, cereal::make_nvp("serial_number", serial),
                                   cereal::make_nvp("name", name), cereal::make_nvp("cpuid", cpuid),
                                   cereal::make_nvp("wifi_mac", mac)))
    {
        logger().error("IdentityHandler::get " + error);
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "Unable to parse identity file");
        return;
    }

    // Only the four known members go out, whatever else the file holds.
    HandlerContract::sendResult(response, logger(), "Unable to serialize identity response",
                                cereal::make_nvp("serial_number", serial), cereal::make_nvp("name", name),
                                cereal::make_nvp("cpuid", cpuid), cereal::make_nvp("wifi_mac", mac));
}

} // namespace system
} // namespace pemo
