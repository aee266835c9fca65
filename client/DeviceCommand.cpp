#include "DeviceCommand.h"

#include "Format.h"
#include "Json.h"

#include <CLI/CLI.hpp>

namespace pemo {
namespace client {

void DeviceCommand::define(CLI::App& app)
{
    app.add_subcommand("identity", "Show the robot's factory identity")->callback([this] { identity(); });
    app.add_subcommand("version", "Show the robot's software version")->callback([this] { version(); });
    app.add_subcommand("health", "Show the system manager's health report")->callback([this] { health(); });
}

void DeviceCommand::identity()
{
    const Answer answer = _context.client().expect("GET", "/identity");
    _context.present(answer, "GET /identity", [this](const Poco::JSON::Object::Ptr& object) {
        _context.out() << "Serial number: " << Json::text(object, "serial_number") << '\n'
                       << "         Name: " << Json::text(object, "name") << '\n'
                       << "       CPU id: " << Json::text(object, "cpuid") << '\n'
                       << "    Wi-Fi MAC: " << Json::text(object, "wifi_mac") << '\n';
    });
}

void DeviceCommand::version()
{
    const Answer answer = _context.client().expect("GET", "/version");
    _context.present(answer, "GET /version", [this](const Poco::JSON::Object::Ptr& object) {
        _context.out() << Json::text(object, "version") << '\n';
    });
}

void DeviceCommand::health()
{
    const Answer answer = _context.client().expect("GET", "/_M_/health");
    _context.present(answer, "GET /_M_/health", [this](const Poco::JSON::Object::Ptr& report) {
        const Style& style = _context.style();
        std::ostream& out = _context.out();
        out << "Time zone: " << Json::text(report, "timezone") << '\n';
        std::string names;
        unsigned running = 0;
        const auto skills = Json::array(report, "skills");
        for (std::size_t i = 0; i < skills->size(); ++i)
        {
            const auto skill = skills->getObject(static_cast<unsigned>(i));
            names += (names.empty() ? "" : ", ") + Json::text(skill, "name");
            running += Json::flag(skill, "running") ? 1 : 0;
        }
        out << "   Skills: " << (names.empty() ? "none" : names + " (" + std::to_string(running) + " running)") << '\n';
        std::string areas;
        const auto usage = Json::array(report, "usage");
        for (std::size_t i = 0; i < usage->size(); ++i)
        {
            const auto area = usage->getObject(static_cast<unsigned>(i));
            areas += (areas.empty() ? "" : ", ") + Json::text(area, "type") + " " +
                     Format::bytes(Json::number(area, "size"));
        }
        out << "    Areas: " << (areas.empty() ? "none" : areas) << '\n';
        for (const auto& [label, name] : {std::pair{"   Backup", "backup"}, std::pair{"     Wipe", "wipe"},
                                          std::pair{"  Restore", "restore"}})
        {
            const auto stats = report->getObject(name);
            const std::uint64_t failures = Json::number(stats, "failures");
            out << label << ": " << Json::number(stats, "successes") << " succeeded, "
                << (failures ? style.red(std::to_string(failures) + " failed") : "0 failed");
            if (const auto last = Json::number(stats, "last_success"))
                out << ", last success " << Format::wallClock(static_cast<std::int64_t>(last), "");
            if (const auto last = Json::number(stats, "last_failure"))
                out << ", last failure " << Format::wallClock(static_cast<std::int64_t>(last), "");
            out << '\n';
        }
        const auto errors = Json::array(report, "errors");
        out << "   Errors: " << (errors->size() == 0 ? style.green("none") : style.red(std::to_string(errors->size())))
            << '\n';
        for (std::size_t i = 0; i < errors->size(); ++i)
            out << "           " << style.red(errors->getElement<std::string>(static_cast<unsigned>(i))) << '\n';
    });
}

} // namespace client
} // namespace pemo
