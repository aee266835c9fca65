#include "identity/CredentialsManager.h"

#include "common/AtomicFile.h"
#include "common/HandlerContract.h"
#include "common/OutsideJSON.h"
#include "identity/CredentialsException.h"

#include <Poco/Exception.h>
#include <Poco/File.h>

#include <exception>
#include <sstream>

namespace pemo {
namespace system {

CredentialsManager::CredentialsManager(Poco::AutoPtr<Poco::Util::AbstractConfiguration> config,
                                       pemo::SystemNotificationClient& snc)
    : _logger(Poco::Logger::get("SystemManager.CredentialsManager")), _snc(snc)
{
    _params.path = config->getString("path", _params.path);
}

CredentialsManager::~CredentialsManager() = default;

void CredentialsManager::start()
{
    _logger.trace("CredentialsManager::start");
}

void CredentialsManager::stop()
{
    _logger.trace("CredentialsManager::stop");
}

pemo::Credentials CredentialsManager::getCredentials() const
{
    std::lock_guard<std::recursive_mutex> lock(_mutex);
    if (!Poco::File(_params.path).exists())
        throw CredentialsException("No credentials");
    pemo::Credentials credentials;
    try
    {
        std::istringstream in(OutsideJSON::readFile(_params.path));
        cereal::JSONInputArchive archive(in);
        credentials.serialize(archive);
    }
    catch (const Poco::Exception& e)
    {
        throw CredentialsException("Could not parse credentials: " + e.displayText());
    }
    catch (const std::exception& e)
    {
        throw CredentialsException(std::string("Could not parse credentials: ") + e.what());
    }
    return credentials;
}

void CredentialsManager::setCredentials(const pemo::Credentials& credentials)
{
    std::lock_guard<std::recursive_mutex> lock(_mutex);
    pemo::Credentials previous;
    try
    {
        previous = getCredentials();
    }
    catch (const CredentialsException& e)
    {
        _logger.information(std::string("CredentialsManager::setCredentials no previous credentials (") + e.what() +
                            "); announcing empty ones as previous");
    }
    try
    {
        writeFileAtomically(_params.path, HandlerContract::toJSON(
                                              cereal::make_nvp("accessKeyId", credentials.accessKeyId),
                                              cereal::make_nvp("secretAccessKey", credentials.secretAccessKey),
                                              cereal::make_nvp("region", credentials.region)));
    }
    catch (const Poco::Exception& e)
    {
        throw CredentialsException("Could not save credentials: " + e.message());
    }
    catch (const std::exception& e)
    {
        throw CredentialsException(std::string("Could not save credentials: ") + e.what());
    }
    _logger.information("CredentialsManager credentials changed");
    notify(previous, credentials);
}

void CredentialsManager::notify(const pemo::Credentials& previous, const pemo::Credentials& credentials)
{
    pemo::CredentialsChangedData data;
    data.previous = previous;
    data.credentials = credentials;
    bool posted = false;
    try
    {
        posted = _snc.postNotification(pemo::CredentialsChanged(pemo::NotificationChannel::GENERAL, data));
    }
    catch (const std::exception& e)
    {
        _logger.error(std::string("CredentialsManager::notify ") + e.what());
    }
    if (!posted)
        _logger.error("CredentialsManager::notify Failed to post credentials changed notification; the change "
                      "is stored but not announced");
}

} // namespace system
} // namespace pemo
