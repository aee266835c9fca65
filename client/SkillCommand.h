#pragma once

#include "CommandGroup.h"

#include <Poco/JSON/Array.h>

#include <string>

namespace pemo {
namespace client {

/// skill list|refresh|launch NAME [--context TEXT]|terminate NAME: the installed skills.
class SkillCommand : public CommandGroup
{
public:
    using CommandGroup::CommandGroup;
    void define(CLI::App& app) override;

private:
    void list();
    void refresh();
    void launch();
    void terminate();
    /// When a skill started, from its monotonic start time [s, us].
    std::string started(const Poco::JSON::Array::Ptr& time) const;

    std::string _name;
    std::string _launchContext;
};

} // namespace client
} // namespace pemo
