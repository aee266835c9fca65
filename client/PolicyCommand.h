#pragma once

#include "CommandGroup.h"

#include <string>

namespace pemo {
namespace client {

/// firewall [MODE] and logs rotate: the packet filter's mode and log rotation.
class PolicyCommand : public CommandGroup
{
public:
    using CommandGroup::CommandGroup;
    void define(CLI::App& app) override;

private:
    void firewall();
    void rotateLogs();

    std::string _mode;
};

} // namespace client
} // namespace pemo
