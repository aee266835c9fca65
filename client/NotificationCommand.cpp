#include "NotificationCommand.h"

#include "ClientError.h"
#include "Json.h"
#include "PortListener.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <ctime>

namespace pemo {
namespace client {

namespace {

const std::vector<std::string> CHANNELS{"GENERAL", "NETWORK", "POWER_MANAGEMENT", "HARDWARE_FAULT",
                                        "MOTION",  "SKILL",   "ERROR"};

std::string clockNow()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    char text[16];
    std::strftime(text, sizeof text, "%H:%M:%S", &parts);
    return text;
}

} // namespace

void NotificationCommand::define(CLI::App& app)
{
    CLI::App* notify = app.add_subcommand("notify", "Post a system notification to every subscriber");
    notify->add_option("--type", _type, "the notification's type, such as MaintenanceDone")->required()->type_name("T");
    notify->add_option("--data", _data, "the notification's data, a JSON value")->required()->type_name("JSON");
    notify->add_option("--channel", _channel, "GENERAL (the default), NETWORK, POWER_MANAGEMENT, HARDWARE_FAULT, "
                                              "MOTION, SKILL or ERROR")
        ->check(CLI::IsMember(CHANNELS))
        ->type_name("CHANNEL");
    notify->callback([this] { this->notify(); });

    CLI::App* notifications =
        app.add_subcommand("notifications", "Print the next system notification, one line each (all with --follow)");
    notifications->add_flag("--follow,-f", _follow, "keep printing notifications as they come, until interrupted");
    notifications->add_option("--wait", _wait, "without --follow: give up after SECONDS (exit 1)")
        ->type_name("SECONDS")
        ->check(CLI::Range(1u, 86400u));
    notifications->callback([this] { listen(); });
}

void NotificationCommand::notify()
{
    if (!Json::valid(_data))
        throw UsageError("--data is not JSON: " + _data);
    // The envelope every publisher writes; its time is this machine's
    // monotonic clock, as a publisher's own.
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now);
    const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(now - seconds);
    const std::string body = "{\"type\":" + Json::quote(_type) + ",\"channel\":" + Json::quote(_channel) + ",\"ts\":[" +
                             std::to_string(seconds.count()) + "," + std::to_string(micros.count()) +
                             "],\"data\":" + _data + "}";
    const Answer answer = _context.client().expect("POST", "/system_notify", body);
    if (_context.json)
        _context.printBody(answer);
}

void NotificationCommand::listen()
{
    PortListener listener(_context.resolved(), "/system_notifications");
    listener.listen(_follow, _follow ? std::nullopt : _wait, [this](const std::string& frame) {
        if (_context.json)
        {
            _context.out() << Json::oneLine(frame) << std::endl;
            return;
        }
        const Poco::JSON::Object::Ptr object = Json::tryObject(frame);
        const Style& style = _context.style();
        if (object && object->has("type") && object->has("data"))
            _context.out() << style.dim(clockNow()) << ' ' << style.bold(Json::text(object, "type")) << ' '
                           << Json::text(object, "channel") << ' ' << Json::oneLine(Json::text(object, "data"))
                           << std::endl;
        else
            _context.out() << style.dim(clockNow()) << ' ' << Json::oneLine(frame) << std::endl;
    });
}

} // namespace client
} // namespace pemo
