#include "session/SessionManager.h"

#include "service/ServiceManager.h"

#include <Poco/UUIDGenerator.h>

namespace pemo {
namespace system {

SessionManager::SessionManager(Poco::AutoPtr<Poco::Util::AbstractConfiguration>,
                               std::shared_ptr<ServiceManager> serviceManager)
    : _serviceManager(std::move(serviceManager)), _logger(Poco::Logger::get("SystemManager.SessionManager"))
{
}

SessionManager::~SessionManager() = default;

std::shared_ptr<pemo::Session> SessionManager::find(const std::string& token) const
{
    const auto it = _sessions.find(token);
    if (it == _sessions.end())
        throw SessionManagerException("No session found: " + token);
    return it->second;
}

std::shared_ptr<pemo::Session> SessionManager::createSession()
{
    std::lock_guard<std::mutex> lock(_mutex);
    const std::string token = Poco::UUIDGenerator::defaultGenerator().create().toString();
    auto session = std::make_shared<pemo::Session>(token, pemo::Permissions(false));
    _sessions[token] = session;
    if (!_serviceManager->createSession(session))
        _logger.warning("SessionManager::createSession not every service was told of " + token +
                        "; the session is kept");
    return session;
}

std::shared_ptr<pemo::Session> SessionManager::getSession(const std::string& token)
{
    std::lock_guard<std::mutex> lock(_mutex);
    return find(token);
}

std::shared_ptr<pemo::Session> SessionManager::getCurrentSession()
{
    std::lock_guard<std::mutex> lock(_mutex);
    return find(_current);
}

std::vector<std::string> SessionManager::getSessions()
{
    std::lock_guard<std::mutex> lock(_mutex);
    std::vector<std::string> tokens;
    tokens.reserve(_sessions.size());
    for (const auto& entry : _sessions)
        tokens.push_back(entry.first);
    return tokens;
}

bool SessionManager::deleteSession(const std::string& token)
{
    std::lock_guard<std::mutex> lock(_mutex);
    const auto session = find(token);
    const bool told = _serviceManager->deleteSession(session);
    _sessions.erase(token);
    return told;
}

bool SessionManager::setCurrentSession(const std::string& token)
{
    std::lock_guard<std::mutex> lock(_mutex);
    const auto session = find(token);
    _current = token;
    return _serviceManager->selectSession(session);
}

} // namespace system
} // namespace pemo
