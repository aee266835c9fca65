#pragma once

#include "CommandGroup.h"

#include <string>

namespace pemo {
namespace client {

/// time [sync | zone [ZONE]]: the clock, its synchronisation and the time zone.
class TimeCommand : public CommandGroup
{
public:
    using CommandGroup::CommandGroup;
    void define(CLI::App& app) override;

private:
    void show();
    void sync();
    void zone();

    std::string _zone;
};

} // namespace client
} // namespace pemo
