#pragma once

#include <cstddef>
#include <exception>
#include <map>
#include <string>
#include <vector>

namespace pemo {
namespace system {

/// The text of e for a log line or a reason: a Poco exception's display text
/// (its what() is only the exception's name), else what().
std::string describe(const std::exception& e);

/// What became of one run of an external program.
struct ProgramResult
{
    /// False when the program could not be started at all (not found, not
    /// executable, or the process could not be created); exitCode is then -1
    /// and output is empty.
    bool started = false;
    /// The program's exit status; a program ended by a signal gives a value
    /// above 255.
    int exitCode = -1;
    /// What the program wrote on the captured stream(s).
    std::string output;

    /// Started and exited with status 0.
    bool succeeded() const { return started && exitCode == 0; }
};

/// Which of a program's streams runProgram() captures.
enum class ProgramOutput
{
    STDOUT,        ///< standard output on a pipe; standard error inherited
    STDOUT_STDERR, ///< standard output and standard error joined on one pipe
    INHERIT,       ///< no pipe: the program writes to the daemon's own streams
    DISCARD        ///< no pipe: standard output and standard error go to /dev/null
};

/// The most of a program's output that runProgram() keeps.
const std::size_t MAX_PROGRAM_OUTPUT = 4 * 1024 * 1024;

/// Runs program with args (an argument vector, never a shell) and waits for
/// it to end. A program name without a slash is looked up on PATH. The
/// captured output is read to its end before the exit status is collected,
/// so a program writing more than a pipe holds cannot stall; only the first
/// MAX_PROGRAM_OUTPUT bytes are kept. Every started program is reaped, also
/// when reading its output fails.
///
/// Every external program the system runs goes through here (and through
/// ChildProcess, which starts it without the daemon's descriptors). Never
/// throws:
/// a program that cannot be started is logged at error level on
/// "SystemManager.SystemUtil" and reported with started == false.
ProgramResult runProgram(const std::string& program, const std::vector<std::string>& args,
                         ProgramOutput output = ProgramOutput::STDOUT);

/// Variables that a program gets on top of the daemon's own environment.
using ProgramEnvironment = std::map<std::string, std::string>;

/// The same as runProgram above, with environment added to the daemon's
/// environment for this program only, replacing variables of the same name
/// (an installer that must reach the display gets DISPLAY and XAUTHORITY
/// this way). The daemon's own environment is never changed.
ProgramResult runProgram(const std::string& program, const std::vector<std::string>& args,
                         const ProgramEnvironment& environment, ProgramOutput output = ProgramOutput::STDOUT);

/// The device's operating mode as printed by "pemo-getmode", trailing white
/// space removed; empty when the program cannot be started or fails.
std::string getMode();

/// Asks "pemo-setmode" to switch the operating mode to mode. True when the
/// program exits with status 0. Logs the outcome on the "Mode" logger.
bool setMode(const std::string& mode);

/// The device's software version as printed by "pemo-version", trailing
/// white space removed; empty when the program cannot be started or fails.
std::string version();

} // namespace system
} // namespace pemo
