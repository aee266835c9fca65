#include "CommandLine.h"

#include <iostream>
#include <string>
#include <vector>

// "pemoctl __complete WORD..." prints the words that may follow, one a
// line, for the shell's completion; everything else is a command.
int main(int argc, char** argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    pemo::client::CommandLine commandLine;
    if (!args.empty() && args.front() == "__complete")
    {
        for (const auto& word : commandLine.complete({args.begin() + 1, args.end()}))
            std::cout << word << '\n';
        return 0;
    }
    return commandLine.run(args);
}
