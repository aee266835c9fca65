#include "PolicyCommand.h"

#include "ClientError.h"
#include "Json.h"

#include <CLI/CLI.hpp>

namespace pemo {
namespace client {

void PolicyCommand::define(CLI::App& app)
{
    CLI::App* firewall = app.add_subcommand("firewall", "Show the firewall mode, or switch to MODE (off empties it)");
    firewall->add_option("MODE", _mode, "a configured mode, or off");
    firewall->callback([this] { this->firewall(); });

    CLI::App* logs = app.add_subcommand("logs", "Rotate the system's logs");
    logs->require_subcommand(1);
    logs->add_subcommand("rotate", "Run logrotate once, forced")->callback([this] { rotateLogs(); });
}

void PolicyCommand::firewall()
{
    const Answer answer = _mode.empty() ? _context.client().expect("GET", "/dynamic_firewall")
                                        : _context.client().expect("POST", "/dynamic_firewall", Json::build({{"mode", _mode}}));
    if (!_mode.empty() && !_context.json)
        return;
    _context.present(answer, "/dynamic_firewall", [this](const Poco::JSON::Object::Ptr& object) {
        _context.out() << Json::text(object, "mode") << '\n';
    });
}

void PolicyCommand::rotateLogs()
{
    const Answer answer = _context.longCall("POST", "/logs/upload", "", "Rotating the logs");
    if (_context.json)
        _context.printBody(answer);
    const auto object = Json::object(answer.body, "POST /logs/upload");
    if (Json::text(object, "result") != "success")
        throw ClientError(EXIT_SERVER_ERROR, "POST /logs/upload: " + Json::text(object, "error"));
}

} // namespace client
} // namespace pemo
