#pragma once

#include "CommandGroup.h"

#include <Poco/JSON/Object.h>

#include <string>

namespace pemo {
namespace client {

/// session list|request|current [TOKEN]|delete TOKEN: the user sessions.
class SessionCommand : public CommandGroup
{
public:
    using CommandGroup::CommandGroup;
    void define(CLI::App& app) override;

private:
    void list();
    void request();
    void current();
    void remove();
    void printSession(const Poco::JSON::Object::Ptr& session);

    std::string _token;
};

} // namespace client
} // namespace pemo
