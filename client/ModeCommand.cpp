#include "ModeCommand.h"

#include "Json.h"

#include <CLI/CLI.hpp>

namespace pemo {
namespace client {

void ModeCommand::define(CLI::App& app)
{
    CLI::App* mode = app.add_subcommand("mode", "Show the operating mode, or set it");
    mode->require_subcommand(0, 1);
    CLI::App* set = mode->add_subcommand("set", "Set the operating mode (normal, developer, ...)");
    set->add_option("MODE", _mode, "the mode to switch to")->required();
    set->callback([this] { this->set(); });
    mode->callback([this, set] {
        if (!set->parsed())
            show();
    });
}

void ModeCommand::show()
{
    const Answer answer = _context.client().expect("GET", "/mode");
    _context.present(answer, "GET /mode", [this](const Poco::JSON::Object::Ptr& object) {
        _context.out() << Json::text(object, "mode") << '\n';
    });
}

void ModeCommand::set()
{
    const Answer answer = _context.client().expect("POST", "/mode", Json::build({{"mode", _mode}}));
    if (_context.json)
        _context.printBody(answer);
}

} // namespace client
} // namespace pemo
