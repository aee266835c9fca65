#pragma once

#include "common/SystemHandler.h"

#include <string>

namespace pemo {
namespace system {

/// GET /identity: the robot's factory identity, read from its file on every
/// request.
class IdentityHandler : public SystemHandler
{
public:
    /// "/var/pemo/identity.json"
    static const std::string DEFAULT_PATH;

    explicit IdentityHandler(const std::string& path = DEFAULT_PATH);
    ~IdentityHandler() override;

    /// 200 with the four members of the file, in a fixed order, and nothing
    /// else the file holds; 500 "Unable to read identity file" or "Unable to
    /// parse identity file" (a member missing or not a string).
    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    const std::string _path;
};

} // namespace system
} // namespace pemo
