#include "PowerCommand.h"

#include "ClientError.h"

#include <CLI/CLI.hpp>

namespace pemo {
namespace client {

void PowerCommand::define(CLI::App& app)
{
    CLI::App* power = app.add_subcommand("power", "Power the robot off or reboot it, after warning every service");
    power->require_subcommand(1);
    power->add_flag("--yes,-y", _yes, "do not ask for confirmation");
    power->add_subcommand("off", "Power off once the shutdown warning has run out")->callback([this] {
        act("/power/off", "Power off the robot at " + _context.settings.address() + "?", "");
    });
    power->add_subcommand("reboot", "Reboot once the shutdown warning has run out")->callback([this] {
        act("/power/reboot", "Reboot the robot at " + _context.settings.address() + "?", "");
    });

    CLI::App* system = app.add_subcommand("system", "Wipe the user data of every service, back it up, or restore it");
    system->require_subcommand(1);
    system->add_flag("--yes,-y", _yes, "do not ask for confirmation");
    system->add_subcommand("wipe", "Tell every service to erase its user data")->callback([this] {
        act("/system/wipe", "Erase the user data of every service on " + _context.settings.address() + "?",
            "Wiping");
    });
    system->add_subcommand("backup", "Archive every service's data and hand it to the backup program")
        ->callback([this] { act("/system/backup", "", "Backing up"); });
    system->add_subcommand("restore", "Fetch the backup archive and have every service take its data back")
        ->callback([this] {
            act("/system/restore", "Replace the data of every service on " + _context.settings.address() +
                                       " with the backup?", "Restoring");
        });
}

void PowerCommand::act(const std::string& path, const std::string& question, const std::string& label)
{
    if (!question.empty() && !_yes && !_context.confirm(question))
        throw ClientError(EXIT_FAILED, "not confirmed; nothing was sent (--yes skips the question)");
    const Answer answer = label.empty() ? _context.client().expect("POST", path)
                                        : _context.longCall("POST", path, "", label);
    if (_context.json)
        _context.printBody(answer);
}

} // namespace client
} // namespace pemo
