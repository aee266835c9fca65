#pragma once

#include "CommandGroup.h"

#include <string>
#include <vector>

namespace pemo {
namespace client {

/// service list|start|stop|restart NAME...: the supervised services.
class ServiceCommand : public CommandGroup
{
public:
    using CommandGroup::CommandGroup;
    void define(CLI::App& app) override;

private:
    void list();
    void command(const std::string& verb, const std::string& label);

    std::vector<std::string> _names;
};

} // namespace client
} // namespace pemo
