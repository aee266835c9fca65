#include "identity/IdentityHandler.h"

#include "common/HandlerContract.h"
#include "common/OutsideJSON.h"

#include <Poco/Exception.h>

#include <sstream>

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
    std::string text;
    try
    {
        text = OutsideJSON::readFile(_path);
    }
    catch (const Poco::OpenFileException& e)
    {
        logger().error("IdentityHandler::get " + e.displayText());
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "Unable to read identity file");
        return;
    }
    catch (const Poco::Exception& e)
    {
        logger().error("IdentityHandler::get " + _path + ": " + e.displayText());
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR, "Unable to parse identity file");
        return;
    }

    std::string serial;
    std::string name;
    std::string cpuid;
    std::string mac;
    std::string error;
    std::istringstream file(text);
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
