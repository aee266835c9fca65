#pragma once

#include "CommandGroup.h"
#include "Context.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace pemo {
namespace client {

/// pemoctl's command line: the global options, every subsystem's group of
/// subcommands, and the exit code of a run.
class CommandLine
{
public:
    CommandLine(std::istream& in = std::cin, std::ostream& out = std::cout, std::ostream& err = std::cerr);
    ~CommandLine();

    /// Parses args (without the program name) and runs the command they
    /// name; the exit code (ExitCode). Usage errors are reported before
    /// anything is sent.
    int run(const std::vector<std::string>& args);

    /// The words that may follow words (the command line so far, without the
    /// program name, the last one being completed): subcommands and options
    /// of the innermost subcommand named, that begin with the last word.
    std::vector<std::string> complete(const std::vector<std::string>& words) const;

private:
    void define();

    Context _context;
    std::string _token;
    std::unique_ptr<CLI::App> _app;
    std::vector<std::unique_ptr<CommandGroup>> _groups;
};

} // namespace client
} // namespace pemo
