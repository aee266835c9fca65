#include "ServiceCommand.h"

#include "Json.h"
#include "Table.h"

#include <CLI/CLI.hpp>

namespace pemo {
namespace client {

void ServiceCommand::define(CLI::App& app)
{
    CLI::App* service = app.add_subcommand("service", "List the supervised services, or start, stop or restart them");
    service->require_subcommand(0, 1);
    service->add_subcommand("list", "List the services with their state (the default)")->callback([this] { list(); });
    struct Verb
    {
        const char* name;
        const char* help;
        const char* label;
    };
    for (const Verb verb : {Verb{"start", "Enable services and have them launched", "Starting"},
                            Verb{"stop", "Disable services and stop them, waiting until they have ended", "Stopping"},
                            Verb{"restart", "Stop services, then start them again", "Restarting"}})
    {
        CLI::App* sub = service->add_subcommand(verb.name, verb.help);
        sub->add_option("NAME", _names, "the services, by their configured names")->required();
        const std::string name = verb.name;
        const std::string label = verb.label;
        sub->callback([this, name, label] { command(name, label); });
    }
    service->callback([this, service] {
        if (service->get_subcommands().empty())
            list();
    });
}

void ServiceCommand::list()
{
    const Answer answer = _context.client().expect("GET", "/service/list");
    _context.present(answer, "GET /service/list", [this](const Poco::JSON::Object::Ptr& object) {
        const Style& style = _context.style();
        Table table({"", "SERVICE", "ENABLED", "STATE"});
        const auto services = Json::array(object, "services");
        for (std::size_t i = 0; i < services->size(); ++i)
        {
            const auto service = services->getObject(static_cast<unsigned>(i));
            const bool running = Json::flag(service, "running");
            table.add({style.bullet(running), Json::text(service, "name"), Json::flag(service, "enabled") ? "yes" : "no",
                       running ? style.green("running") : style.red("stopped")});
        }
        if (table.empty())
            _context.out() << "No services are configured.\n";
        else
            table.print(_context.out(), style);
    });
}

void ServiceCommand::command(const std::string& verb, const std::string& label)
{
    std::string names;
    for (const auto& name : _names)
        names += (names.empty() ? "" : " ") + name;
    const Answer answer =
        _context.longCall("POST", "/service/" + verb, Json::build({{"services", Json::strings(_names)}}), label + " " + names);
    if (_context.json)
        _context.printBody(answer);
}

} // namespace client
} // namespace pemo
