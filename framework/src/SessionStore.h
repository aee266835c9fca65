#pragma once

#include "pemo/Session.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace pemo {

/// The sessions a service knows: the configured full-permission tokens and
/// the sessions announced to it on the management routes. Anyone else is a
/// stranger holding no permission.
class SessionStore
{
public:
    /// Tokens that hold every permission; replaces the previous set.
    void setTrustedTokens(const std::vector<std::string>& tokens);
    void add(const Session& session);
    void remove(const std::string& token);

    /// The caller's session for the token of its authentication header:
    /// a known session, or a new one with Permissions(false).
    std::shared_ptr<Session> resolve(const std::string& token) const;

private:
    mutable std::mutex _mutex;
    std::map<std::string, Permissions> _trusted;
    std::map<std::string, Permissions> _announced;
};

} // namespace pemo
