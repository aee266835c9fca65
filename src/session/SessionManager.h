#pragma once

#include "session/SessionManagerException.h"

#include <pemo/Session.h>

#include <Poco/AutoPtr.h>
#include <Poco/Logger.h>
#include <Poco/Util/AbstractConfiguration.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace pemo {
namespace system {

class ServiceManager;

/// The registry of user sessions and of the current one. Every change is
/// told to the other services through the service manager, with the
/// registry's lock held: changes are strictly serialised, and each change's
/// fan-out completes before the next change starts.
class SessionManager
{
public:
    /// config is the manager's configuration subtree (no keys are read).
    SessionManager(Poco::AutoPtr<Poco::Util::AbstractConfiguration> config,
                   std::shared_ptr<ServiceManager> serviceManager);
    virtual ~SessionManager();

    /// A new session with a time-based UUID token and no permissions,
    /// registered and then announced. The session is returned (and stays
    /// registered) whatever the announcement's outcome; an exception from
    /// the service manager passes through.
    std::shared_ptr<pemo::Session> createSession();

    /// Throws SessionManagerException "No session found: " + token.
    std::shared_ptr<pemo::Session> getSession(const std::string& token);
    /// Throws SessionManagerException "No session found: " + the current
    /// token (empty before any selection, stale after deleting it).
    std::shared_ptr<pemo::Session> getCurrentSession();
    /// Every token, in ascending byte order.
    std::vector<std::string> getSessions();

    /// Deletes the session and announces it; false when some service could
    /// not be told (the session is deleted anyway). The current token is not
    /// cleared. Throws SessionManagerException "No session found: " + token.
    bool deleteSession(const std::string& token);
    /// Makes the session current and announces it; false when some service
    /// could not be told (it stays current anyway). Throws
    /// SessionManagerException "No session found: " + token, leaving the
    /// current session unchanged.
    bool setCurrentSession(const std::string& token);

private:
    std::shared_ptr<pemo::Session> find(const std::string& token) const;

    std::shared_ptr<ServiceManager> _serviceManager;
    Poco::Logger& _logger;
    std::mutex _mutex;
    std::map<std::string, std::shared_ptr<pemo::Session>> _sessions;
    std::string _current;
};

} // namespace system
} // namespace pemo
