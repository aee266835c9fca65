#include "SkillCommand.h"

#include "Format.h"
#include "Json.h"
#include "Table.h"

#include <Poco/Net/IPAddress.h>

#include <CLI/CLI.hpp>

#include <ctime>

namespace pemo {
namespace client {

void SkillCommand::define(CLI::App& app)
{
    CLI::App* skill = app.add_subcommand("skill", "List, rescan, launch and terminate skills");
    skill->require_subcommand(0, 1);
    skill->add_subcommand("list", "List the installed skills (the default)")->callback([this] { list(); });
    skill->add_subcommand("refresh", "Rescan the skill directories")->callback([this] { refresh(); });
    CLI::App* launch = skill->add_subcommand("launch", "Launch a skill under a new session");
    launch->add_option("NAME", _name, "the skill's name")->required();
    launch->add_option("--context", _launchContext, "text handed to the skill as its last argument")
        ->type_name("TEXT");
    launch->callback([this] { this->launch(); });
    CLI::App* terminate = skill->add_subcommand("terminate", "Ask a running skill to end (SIGTERM)");
    terminate->add_option("NAME", _name, "the skill's name")->required();
    terminate->callback([this] { this->terminate(); });
    skill->callback([this, skill] {
        if (skill->get_subcommands().empty())
            list();
    });
}

void SkillCommand::list()
{
    const Answer answer = _context.client().expect("GET", "/skill/list");
    _context.present(answer, "GET /skill/list", [this](const Poco::JSON::Object::Ptr& object) {
        const Style& style = _context.style();
        Table table({"", "SKILL", "VERSION", "STATE", "STARTED", "PATH"});
        const auto skills = Json::array(object, "skills");
        for (std::size_t i = 0; i < skills->size(); ++i)
        {
            const auto skill = skills->getObject(static_cast<unsigned>(i));
            const bool running = Json::flag(skill, "running");
            table.add({style.bullet(running), Json::text(skill, "name"), Json::text(skill, "version"),
                       running ? style.green("running") : "stopped", started(skill->getArray("lastStartTime")),
                       Json::text(skill, "path")});
        }
        if (table.empty())
            _context.out() << "No skills are installed.\n";
        else
            table.print(_context.out(), style);
    });
}

std::string SkillCommand::started(const Poco::JSON::Array::Ptr& time) const
{
    if (!time || time->size() != 2)
        return "-";
    const std::uint64_t seconds = time->getElement<std::uint64_t>(0);
    if (seconds == 0 && time->getElement<std::uint64_t>(1) == 0)
        return "never";
    // The start time is on the robot's monotonic clock, which only this
    // machine shares when pemoctl runs on the robot itself.
    Poco::Net::IPAddress address;
    timespec now{};
    if (Poco::Net::IPAddress::tryParse(_context.settings.host, address) && address.isLoopback() &&
        clock_gettime(CLOCK_MONOTONIC, &now) == 0 && static_cast<std::uint64_t>(now.tv_sec) >= seconds)
        return Format::duration(static_cast<std::uint64_t>(now.tv_sec) - seconds) + " ago";
    return Format::duration(seconds) + " after boot";
}

void SkillCommand::refresh()
{
    const Answer answer = _context.client().expect("POST", "/skill/refresh");
    if (_context.json)
        _context.printBody(answer);
}

void SkillCommand::launch()
{
    const Answer answer =
        _context.client().expect("POST", "/skill/launch", Json::build({{"name", _name}, {"context", _launchContext}}));
    if (_context.json)
        _context.printBody(answer);
}

void SkillCommand::terminate()
{
    const Answer answer = _context.client().expect("POST", "/skill/terminate", Json::build({{"name", _name}}));
    if (_context.json)
        _context.printBody(answer);
}

} // namespace client
} // namespace pemo
