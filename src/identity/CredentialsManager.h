#pragma once

#include "identity/Credentials.h"

#include <pemo/SystemNotificationClient.h>

#include <Poco/AutoPtr.h>
#include <Poco/Logger.h>
#include <Poco/Util/AbstractConfiguration.h>

#include <mutex>
#include <string>

namespace pemo {
namespace system {

/// Keeps the robot's one set of cloud credentials in a JSON file and
/// announces every replacement as a "CredentialsChanged" notification. The
/// file is replaced whole: a crash while storing leaves the old credentials
/// or the new ones, never a torn or empty file.
class CredentialsManager
{
public:
    struct Params
    {
        std::string path = "/var/pemo/credentials.json";
    };

    /// config is the "SystemManager.credentials" view ("path").
    CredentialsManager(Poco::AutoPtr<Poco::Util::AbstractConfiguration> config, pemo::SystemNotificationClient& snc);
    virtual ~CredentialsManager();

    /// Nothing to start or stop.
    void start();
    void stop();

    /// The stored credentials. Throws CredentialsException "No
    /// credentials" when none are stored, "Could not parse credentials: "
    /// + the parser's text when the file is not the three strings.
    pemo::Credentials getCredentials() const;

    /// Stores credentials in place of the current ones, then posts the
    /// change with the previous values. Throws CredentialsException "Could
    /// not save credentials: " + why when the file cannot be replaced (the
    /// old file is then kept and nothing is posted).
    void setCredentials(const pemo::Credentials& credentials);

    /// Posts "CredentialsChanged"; a failure is logged, never thrown.
    void notify(const pemo::Credentials& previous, const pemo::Credentials& credentials);

    const Params& params() const { return _params; }

private:
    Params _params;
    Poco::Logger& _logger;
    mutable std::recursive_mutex _mutex;
    pemo::SystemNotificationClient& _snc;
};

} // namespace system
} // namespace pemo
