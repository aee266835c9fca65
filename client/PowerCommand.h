#pragma once

#include "CommandGroup.h"

#include <string>

namespace pemo {
namespace client {

/// power off|reboot and system wipe|backup|restore: what ends or replaces the robot's state, each asked for confirmation unless --yes.
class PowerCommand : public CommandGroup
{
public:
    using CommandGroup::CommandGroup;
    void define(CLI::App& app) override;

private:
    /// Posts path after the user confirmed question (or gave --yes).
    void act(const std::string& path, const std::string& question, const std::string& label);

    bool _yes = false;
};

} // namespace client
} // namespace pemo
