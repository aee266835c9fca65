#include "TimeCommand.h"

#include "Format.h"
#include "Json.h"

#include <CLI/CLI.hpp>

namespace pemo {
namespace client {

void TimeCommand::define(CLI::App& app)
{
    CLI::App* time = app.add_subcommand("time", "Show the robot's time, synchronise it, or set the time zone");
    time->require_subcommand(0, 1);
    CLI::App* sync = time->add_subcommand("sync", "Set the clock once from NTP and copy it to the hardware clock");
    sync->callback([this] { this->sync(); });
    CLI::App* zone = time->add_subcommand("zone", "Show the time zone, or set it (such as Europe/Paris)");
    zone->add_option("ZONE", _zone, "a zone of the tz database");
    zone->callback([this] { this->zone(); });
    time->callback([this, time] {
        if (time->get_subcommands().empty())
            show();
    });
}

void TimeCommand::show()
{
    ApiClient api = _context.client();
    const Answer current = api.expect("GET", "/time/current");
    const Answer zone = api.expect("GET", "/time/zone");
    if (_context.json)
        return _context.printCombined({{"/time/current", &current}, {"/time/zone", &zone}});
    const auto nanoseconds = static_cast<std::int64_t>(Json::number(Json::object(current.body, "GET /time/current"), "time"));
    const std::string name = Json::text(Json::object(zone.body, "GET /time/zone"), "timezone");
    _context.out() << "     Local time: " << Format::wallClock(nanoseconds, name) << '\n'
                   << " Universal time: " << Format::wallClock(nanoseconds, "UTC") << '\n'
                   << "      Time zone: " << name << '\n';
}

void TimeCommand::sync()
{
    const Answer answer = _context.longCall("POST", "/time/synchronize", "", "Synchronising the clock");
    if (_context.json)
        _context.printBody(answer);
}

void TimeCommand::zone()
{
    if (_zone.empty())
    {
        const Answer answer = _context.client().expect("GET", "/time/zone");
        return _context.present(answer, "GET /time/zone", [this](const Poco::JSON::Object::Ptr& object) {
            _context.out() << Json::text(object, "timezone") << '\n';
        });
    }
    const Answer answer = _context.client().expect("POST", "/time/zone", Json::build({{"timezone", _zone}}));
    if (_context.json)
        _context.printBody(answer);
}

} // namespace client
} // namespace pemo
