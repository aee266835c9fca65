#include "StatusCommand.h"

#include "ClientError.h"
#include "Format.h"
#include "Json.h"

#include <CLI/CLI.hpp>

#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <thread>

namespace pemo {
namespace client {

namespace {

struct Query
{
    std::string method;
    std::string path;
    std::string body;
    Answer answer;
    std::optional<ClientError> failure;
};

// File systems that hold no data of the robot's.
const std::set<std::string> PSEUDO{"proc",    "sysfs",      "cgroup",    "cgroup2", "devpts",   "mqueue",
                                   "debugfs", "tracefs",    "securityfs", "pstore", "bpf",      "configfs",
                                   "fusectl", "hugetlbfs",  "autofs",    "binfmt_misc", "nsfs", "devtmpfs",
                                   "tmpfs",   "efivarfs"};

// The key=value lines of wpa_supplicant's STATUS reply.
std::map<std::string, std::string> statusFields(const std::string& reply)
{
    std::map<std::string, std::string> fields;
    std::istringstream lines(reply);
    for (std::string line; std::getline(lines, line);)
    {
        const auto equals = line.find('=');
        if (equals != std::string::npos)
            fields[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return fields;
}

// Runs every query at once: the screen waits for the slowest, not the sum.
void runAll(const ApiClient& api, std::vector<Query>& queries)
{
    std::vector<std::thread> threads;
    for (auto& query : queries)
        threads.emplace_back([&api, &query] {
            try
            {
                query.answer = api.request(query.method, query.path, query.body);
            }
            catch (const ClientError& e)
            {
                query.failure = e;
            }
        });
    for (auto& thread : threads)
        thread.join();
}

// The screen of status: one line per subsystem, a few for lists.
class Screen
{
public:
    Screen(std::ostream& out, const Style& style, const std::vector<Query>& queries)
        : _out(out), _style(style), _queries(queries)
    {
    }

    void print(const std::string& address)
    {
        const auto health = find("/_M_/health");
        const bool healthy = health && health->answer.ok() && !health->failure &&
                             Json::array(Json::tryObject(health->answer.body), "errors")->size() == 0;
        _out << _style.bullet(healthy) << ' ' << _style.bold("Pemo system manager") << " at " << address << '\n';
        if (const auto version = body("Version", "/version"))
            line("Version", Json::text(version, "version"));
        if (const auto mode = body("Mode", "/mode"))
            line("Mode", Json::text(mode, "mode"));
        services();
        skills();
        if (const auto session = body("Session", "/session/current", "No current session"))
            line("Session", Json::text(session->getObject("session"), "token"));
        else if (!find("/session/current")->failure && !find("/session/current")->answer.ok())
            line("Session", "none");
        wifi();
        storage();
        time();
        updates();
        errors(health);
    }

private:
    const Query* find(const std::string& path) const
    {
        for (const auto& query : _queries)
            if (query.path == path)
                return &query;
        return nullptr;
    }

    // The body of the query of path, or null (with a line saying why) when
    // it failed; a refusal with the reason tolerated is no failure.
    Poco::JSON::Object::Ptr body(const std::string& label, const std::string& path, const std::string& tolerated = "")
    {
        const Query* query = find(path);
        if (query->failure)
            line(label, _style.red(std::string("unavailable: ") + query->failure->what()));
        else if (!query->answer.ok() && query->answer.reason != tolerated)
            line(label, _style.red("unavailable (" + query->answer.statusLine() + ")"));
        else if (query->answer.ok())
        {
            if (auto object = Json::tryObject(query->answer.body))
                return object;
            line(label, _style.red("unreadable answer"));
        }
        return nullptr;
    }

    void line(const std::string& label, const std::string& text)
    {
        _out << std::string(label.size() < 10 ? 10 - label.size() : 0, ' ') << label << (label.empty() ? "  " : ": ")
             << text << '\n';
    }

    void services()
    {
        const auto list = body("Services", "/service/list");
        if (!list)
            return;
        const auto services = Json::array(list, "services");
        std::size_t running = 0;
        for (std::size_t i = 0; i < services->size(); ++i)
            running += Json::flag(services->getObject(static_cast<unsigned>(i)), "running") ? 1 : 0;
        line("Services", std::to_string(running) + " of " + std::to_string(services->size()) + " running");
        for (std::size_t i = 0; i < services->size(); ++i)
        {
            const auto service = services->getObject(static_cast<unsigned>(i));
            const bool up = Json::flag(service, "running");
            line("", _style.bullet(up) + " " + Json::text(service, "name") + " " +
                         (up ? _style.green("running") : _style.red("stopped")) +
                         (Json::flag(service, "enabled") ? "" : " (disabled)"));
        }
    }

    void skills()
    {
        const auto list = body("Skills", "/skill/list");
        if (!list)
            return;
        std::string running;
        const auto skills = Json::array(list, "skills");
        for (std::size_t i = 0; i < skills->size(); ++i)
        {
            const auto skill = skills->getObject(static_cast<unsigned>(i));
            if (Json::flag(skill, "running"))
                running += (running.empty() ? "" : ", ") + Json::text(skill, "name");
        }
        line("Skills", running.empty() ? "none running, " + std::to_string(skills->size()) + " installed"
                                       : _style.green(running) + " running");
    }

    void wifi()
    {
        const Query* wpa = find("/wifi/wpa");
        const auto interface = body("Wi-Fi", "/wifi/interface");
        if (!interface)
            return;
        const std::string method = Json::text(interface->getObject("interface"), "method");
        if (wpa->failure || !wpa->answer.ok())
        {
            line("Wi-Fi", _style.red("wpa_supplicant: " + (wpa->failure ? std::string(wpa->failure->what())
                                                                            : wpa->answer.statusLine())) +
                              " (" + method + ")");
            return;
        }
        auto fields = statusFields(Json::text(Json::tryObject(wpa->answer.body), "response"));
        const std::string state = fields["wpa_state"];
        std::string text = state == "COMPLETED" ? _style.green(state) : _style.yellow(state);
        for (const char* name : {"ssid", "ip_address"})
            if (!fields[name].empty())
                text += " " + fields[name];
        line("Wi-Fi", text + " (" + method + ")");
    }

    void storage()
    {
        const auto mounts = body("Storage", "/storage/mounts");
        if (!mounts)
            return;
        // One line per file system: bind mounts show it again at other
        // paths, with the same source and the same counts.
        std::set<std::string> seen;
        std::vector<Poco::JSON::Object::Ptr> shown;
        const auto list = Json::array(mounts, "mounts");
        for (std::size_t i = 0; i < list->size(); ++i)
        {
            const auto mount = list->getObject(static_cast<unsigned>(i));
            const std::string key = Json::text(mount, "name") + " " + Json::text(mount, "size") + " " +
                                    Json::text(mount, "used") + " " + Json::text(mount, "free");
            if (Json::number(mount, "size") == 0 || PSEUDO.count(Json::text(mount, "type")) || !seen.insert(key).second)
                continue;
            shown.push_back(mount);
        }
        std::string label = "Storage";
        for (const auto& mount : shown)
        {
            const std::string path = Json::text(mount, "path");
            const std::uint64_t used = Json::number(mount, "used");
            const std::uint64_t free = Json::number(mount, "free");
            line(label, Format::bar(used, free, 10, _style.unicode()) + " " + Format::percent(used, free) + " of " +
                            Format::bytes(Json::number(mount, "size")) + " " + path);
            label.clear();
        }
    }

    void time()
    {
        const auto zone = body("Time", "/time/zone");
        const auto now = zone ? body("Time", "/time/current") : nullptr;
        if (!now)
            return;
        const std::string name = Json::text(zone, "timezone");
        line("Time", Format::wallClock(static_cast<std::int64_t>(Json::number(now, "time")), name) + " (" + name + ")");
    }

    void updates()
    {
        const auto offer = body("Updates", "/update");
        if (!offer)
            return;
        if (offer->has("error"))
            return line("Updates", _style.red(Json::text(offer, "error")));
        std::string ids;
        const auto updates = Json::array(offer, "updates");
        for (std::size_t i = 0; i < updates->size(); ++i)
            ids += (ids.empty() ? ": " : ", ") + Json::text(updates->getObject(static_cast<unsigned>(i)), "id");
        line("Updates", updates->size() == 0 ? "none pending" : std::to_string(updates->size()) + " pending" + ids);
    }

    void errors(const Query* health)
    {
        if (!health)
            return;
        const auto report = body("Health", "/_M_/health");
        if (!report)
            return;
        const auto errors = Json::array(report, "errors");
        if (errors->size() == 0)
            return line("Health", _style.green("no errors"));
        std::string label = "Health";
        for (std::size_t i = 0; i < errors->size(); ++i)
        {
            line(label, _style.red(errors->getElement<std::string>(static_cast<unsigned>(i))));
            label.clear();
        }
    }

    std::ostream& _out;
    const Style& _style;
    const std::vector<Query>& _queries;
};

// For --json: every answer as it came, under its path; a query that failed
// as {"failed": "STATUS REASON"}.
void printJson(Context& context, const std::vector<Query>& queries)
{
    std::vector<Answer> failed;
    failed.reserve(queries.size());
    std::vector<std::pair<std::string, const Answer*>> parts;
    for (const auto& query : queries)
    {
        if (query.failure || !query.answer.ok())
        {
            const std::string why = query.failure ? query.failure->what() : query.answer.statusLine();
            failed.push_back({0, "", Json::build({{"failed", why}})});
            parts.emplace_back(query.path, &failed.back());
        }
        else
            parts.emplace_back(query.path, &query.answer);
    }
    context.printCombined(parts);
}

} // namespace

void StatusCommand::define(CLI::App& app)
{
    app.add_subcommand("status", "Show the robot's state on one screen")->callback([this] { show(); });
}

void StatusCommand::show()
{
    const ApiClient api = _context.client();
    std::vector<Query> queries;
    for (const char* path : {"/version", "/mode", "/service/list", "/skill/list", "/session/current",
                             "/wifi/interface", "/storage/mounts", "/time/zone", "/time/current", "/update",
                             "/_M_/health"})
        queries.push_back({"GET", path, "", {}, {}});
    queries.push_back({"POST", "/wifi/wpa", Json::build({{"command", "STATUS"}}), {}, {}});
    runAll(api, queries);

    std::size_t unreachable = 0;
    for (const auto& query : queries)
    {
        unreachable += query.failure ? 1 : 0;
        if (!query.failure && query.answer.status == 403)
            ApiClient::check(query.answer, query.method + " " + query.path);
    }
    if (unreachable == queries.size())
        throw *queries.front().failure;
    if (_context.json)
        return printJson(_context, queries);
    Screen(_context.out(), _context.style(), queries).print(api.settings().address());
}

} // namespace client
} // namespace pemo
