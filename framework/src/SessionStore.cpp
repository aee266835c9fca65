#include "SessionStore.h"

namespace pemo {

void SessionStore::setTrustedTokens(const std::vector<std::string>& tokens)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _trusted.clear();
    for (const auto& token : tokens)
        if (!token.empty())
            _trusted[token] = Permissions(true);
}

void SessionStore::add(const Session& session)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _announced[session.token] = session.permissions;
}

void SessionStore::remove(const std::string& token)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _announced.erase(token);
}

// Configured tokens win over announced ones, so an announcement can never
// take permissions away from (or hand them to) a configured token.
std::shared_ptr<Session> SessionStore::resolve(const std::string& token) const
{
    std::lock_guard<std::mutex> lock(_mutex);
    if (token.empty())
        return std::make_shared<Session>(token, Permissions(false));
    auto trusted = _trusted.find(token);
    if (trusted != _trusted.end())
        return std::make_shared<Session>(token, trusted->second);
    auto announced = _announced.find(token);
    if (announced != _announced.end())
        return std::make_shared<Session>(token, announced->second);
    return std::make_shared<Session>(token, Permissions(false));
}

} // namespace pemo
