#include "StorageCommand.h"

#include "Format.h"
#include "Json.h"
#include "Table.h"

#include <CLI/CLI.hpp>

namespace pemo {
namespace client {

void StorageCommand::define(CLI::App& app)
{
    CLI::App* storage = app.add_subcommand("storage", "Show the file systems' use, like df -h, and the named areas");
    storage->add_flag("--all,-a", _all, "also the file systems of size 0 (proc, sysfs, ...)");
    storage->callback([this] { show(); });
}

void StorageCommand::show()
{
    ApiClient api = _context.client();
    const Answer mounts = api.expect("GET", "/storage/mounts");
    const Answer areas = api.expect("GET", "/storage/semantic");
    if (_context.json)
        return _context.printCombined({{"/storage/mounts", &mounts}, {"/storage/semantic", &areas}});
    const Style& style = _context.style();
    Table table({"FILESYSTEM", "TYPE", "SIZE", "USED", "AVAIL", "USE%", "", "MOUNTED ON"});
    const auto entries = Json::array(Json::object(mounts.body, "GET /storage/mounts"), "mounts");
    for (std::size_t i = 0; i < entries->size(); ++i)
    {
        const auto mount = entries->getObject(static_cast<unsigned>(i));
        const std::uint64_t size = Json::number(mount, "size");
        if (size == 0 && !_all)
            continue;
        const std::uint64_t used = Json::number(mount, "used");
        const std::uint64_t free = Json::number(mount, "free");
        std::string bar = Format::bar(used, free, 10, style.unicode());
        const bool full = used + free > 0 && used * 10 >= (used + free) * 9;
        table.add({Json::text(mount, "name"), Json::text(mount, "type"), Format::bytes(size), Format::bytes(used),
                   Format::bytes(free), Format::percent(used, free), full ? style.red(bar) : bar,
                   Json::text(mount, "path")});
    }
    table.print(_context.out(), style);

    Table usage({"AREA", "SIZE", "PATH"});
    const auto list = Json::array(Json::object(areas.body, "GET /storage/semantic"), "usage");
    for (std::size_t i = 0; i < list->size(); ++i)
    {
        const auto area = list->getObject(static_cast<unsigned>(i));
        usage.add({Json::text(area, "type"), Format::bytes(Json::number(area, "size")), Json::text(area, "path")});
    }
    if (usage.empty())
        return;
    _context.out() << '\n';
    usage.print(_context.out(), style);
}

} // namespace client
} // namespace pemo
