#pragma once

#include "CommandGroup.h"

#include <string>

namespace pemo {
namespace client {

/// mode [set MODE]: the operating mode, read and set through the platform's mode programs.
class ModeCommand : public CommandGroup
{
public:
    using CommandGroup::CommandGroup;
    void define(CLI::App& app) override;

private:
    void show();
    void set();

    std::string _mode;
};

} // namespace client
} // namespace pemo
