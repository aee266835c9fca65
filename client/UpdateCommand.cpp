#include "UpdateCommand.h"

#include "ClientError.h"
#include "Format.h"
#include "Json.h"
#include "Table.h"

#include <CLI/CLI.hpp>

namespace pemo {
namespace client {

namespace {

// The refusals that a different request would avoid; the others are the
// robot's own trouble (busy, out of space, an installer that failed).
bool requestFault(const std::string& error)
{
    for (const char* text : {"Unknown update requested", "Update not downloaded", "Duplicate update specified"})
        if (error == text)
            return true;
    return error.compare(0, 11, "Dependency ") == 0;
}

} // namespace

void UpdateCommand::define(CLI::App& app)
{
    CLI::App* update = app.add_subcommand("update", "List, download and apply over-the-air updates");
    update->require_subcommand(0, 1);
    CLI::App* list = update->add_subcommand("list", "Ask the update service what there is (the default)");
    list->add_option("FILTER", _filter, "only updates of this filter (letters, digits, - _ .)")
        ->check(CLI::Validator(
            [](const std::string& text) {
                return text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.") ==
                               std::string::npos
                           ? std::string()
                           : "a filter is letters, digits, '-', '_' and '.'";
            },
            "FILTER"));
    list->callback([this] { this->list(); });
    CLI::App* download = update->add_subcommand("download", "Fetch updates into the robot's temporary storage");
    download->add_option("ID", _ids, "the updates, by id")->required();
    download->callback([this] { this->download(); });
    CLI::App* apply = update->add_subcommand("apply", "Install downloaded updates, dependencies first");
    apply->add_option("ID", _ids, "the updates, by id")->required();
    apply->callback([this] { this->apply(); });
    update->callback([this, update] {
        if (update->get_subcommands().empty())
            this->list();
    });
}

void UpdateCommand::checkOutcome(const Answer& answer, const std::string& what)
{
    const auto object = Json::tryObject(answer.body);
    if (!object || !object->has("error"))
        return;
    const std::string error = Json::text(object, "error");
    throw ClientError(requestFault(error) ? EXIT_BAD_REQUEST : EXIT_SERVER_ERROR, what + ": " + error);
}

void UpdateCommand::list()
{
    const std::string path = _filter.empty() ? "/update" : "/update/" + _filter;
    const Answer answer = _context.longCall("GET", path, "", "Asking for updates");
    if (_context.json)
        _context.printBody(answer);
    checkOutcome(answer, "GET " + path);
    if (_context.json)
        return;
    const auto updates = Json::array(Json::object(answer.body, "GET " + path), "updates");
    Table table({"ID", "SUBSYSTEM", "VERSION", "SIZE", "STATE", "NEEDS"});
    for (std::size_t i = 0; i < updates->size(); ++i)
    {
        const auto update = updates->getObject(static_cast<unsigned>(i));
        std::string needs;
        if (const auto dependencies = update->getObject("dependencies"))
            for (const auto& [subsystem, version] : *dependencies)
                needs += (needs.empty() ? "" : ", ") + subsystem + " " + version.toString();
        table.add({Json::text(update, "id"), Json::text(update, "subsystem"), Json::text(update, "toVersion"),
                   Format::bytes(Json::number(update, "length")),
                   Json::flag(update, "downloaded") ? _context.style().green("downloaded") : "available",
                   needs.empty() ? "-" : needs});
    }
    if (table.empty())
        _context.out() << "No updates.\n";
    else
        table.print(_context.out(), _context.style());
}

void UpdateCommand::download()
{
    const Answer answer =
        _context.longCall("PUT", "/update", Json::build({{"ids", Json::strings(_ids)}}), "Downloading");
    if (_context.json)
        _context.printBody(answer);
    checkOutcome(answer, "PUT /update");
}

void UpdateCommand::apply()
{
    const Answer answer = _context.longCall("POST", "/update", Json::build({{"ids", Json::strings(_ids)}}), "Installing");
    if (_context.json)
        _context.printBody(answer);
    checkOutcome(answer, "POST /update");
}

} // namespace client
} // namespace pemo
