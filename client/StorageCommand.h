#pragma once

#include "CommandGroup.h"



namespace pemo {
namespace client {

/// storage: the mounted file systems with their use, and the sizes of the named areas.
class StorageCommand : public CommandGroup
{
public:
    using CommandGroup::CommandGroup;
    void define(CLI::App& app) override;

private:
    void show();

    bool _all = false;
};

} // namespace client
} // namespace pemo
