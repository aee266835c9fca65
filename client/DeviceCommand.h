#pragma once

#include "CommandGroup.h"



namespace pemo {
namespace client {

/// identity, version and health: what the robot is, what it runs, and how its managers are.
class DeviceCommand : public CommandGroup
{
public:
    using CommandGroup::CommandGroup;
    void define(CLI::App& app) override;

private:
    void identity();
    void version();
    void health();
};

} // namespace client
} // namespace pemo
