#pragma once

#include "CommandGroup.h"



namespace pemo {
namespace client {

/// status: one screen of the robot's state, like systemctl status.
class StatusCommand : public CommandGroup
{
public:
    using CommandGroup::CommandGroup;
    void define(CLI::App& app) override;

private:
    void show();
};

} // namespace client
} // namespace pemo
