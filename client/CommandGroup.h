#pragma once

#include "Context.h"

namespace CLI {
class App;
}

namespace pemo {
namespace client {

/// The subcommands of one subsystem: define() adds them to the command
/// line, and their callbacks run what was asked with the shared context.
class CommandGroup
{
public:
    explicit CommandGroup(Context& context) : _context(context) {}
    virtual ~CommandGroup() = default;

    CommandGroup(const CommandGroup&) = delete;
    CommandGroup& operator=(const CommandGroup&) = delete;

    /// Adds the group's subcommands to app.
    virtual void define(CLI::App& app) = 0;

protected:
    Context& _context;
};

} // namespace client
} // namespace pemo
