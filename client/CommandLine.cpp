#include "CommandLine.h"

#include "ClientError.h"
#include "CredentialsCommand.h"
#include "DeviceCommand.h"
#include "ModeCommand.h"
#include "NotificationCommand.h"
#include "PolicyCommand.h"
#include "PowerCommand.h"
#include "ServiceCommand.h"
#include "SessionCommand.h"
#include "SkillCommand.h"
#include "StatusCommand.h"
#include "StorageCommand.h"
#include "TimeCommand.h"
#include "UpdateCommand.h"
#include "WifiCommand.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace pemo {
namespace client {

namespace {

const char* const FOOTER = R"(Environment:
  PEMO_HOST, PEMO_PORT   the system manager's address (default 127.0.0.1:8080)
  PEMO_TOKEN             the token; without it and --token, the first readable
                         of ~/.config/pemo/token and /etc/pemo/token
  NO_COLOR               no colour even on a terminal

Exit status:
  0   success
  1   declined at the prompt, or nothing arrived within --wait
  2   usage: the command line is wrong, nothing was sent
  65  bad request: the system manager refused the request (400 and the other
      4xx but 403, an unknown update, a dependency missing)
  69  unreachable: nothing answered at the address, or the connection broke
  70  server error: the system manager failed (5xx, a failed update or log
      rotation) or its answer is unreadable
  77  refused: the token is missing or lacks the permissions (403)

See pemoctl(1) and the API reference, /usr/share/doc/pemo-system-manager/openapi.yaml.)";

} // namespace

CommandLine::CommandLine(std::istream& in, std::ostream& out, std::ostream& err)
    : _context(in, out, err), _app(std::make_unique<CLI::App>("pemoctl: drives the Pemo robot's system manager", "pemoctl"))
{
    define();
}

CommandLine::~CommandLine() = default;

void CommandLine::define()
{
    CLI::App& app = *_app;
    app.require_subcommand(1);
    app.fallthrough();
    app.add_option("--host", _context.settings.host, "the system manager's host (default 127.0.0.1)")
        ->envname("PEMO_HOST")
        ->type_name("HOST");
    app.add_option("--port", _context.settings.port, "the system manager's port (default 8080)")
        ->envname("PEMO_PORT")
        ->type_name("PORT")
        ->check(CLI::Range(1, 65535));
    app.add_option("--token", _token, "the Pemo-Authenticate token")
        ->envname("PEMO_TOKEN")
        ->type_name("TOKEN")
        ->each([this](const std::string& value) {
            _context.tokenGiven = true;
            _context.settings.token = value;
        });
    app.add_option("--timeout", _context.settings.timeout, "seconds to wait for an answer (default 60; long calls wait without limit)")
        ->type_name("SECONDS")
        ->check(CLI::Range(1u, 86400u));
    app.add_flag("--json", _context.json, "print the system manager's JSON as it came, for scripts");

    _groups.push_back(std::make_unique<StatusCommand>(_context));
    _groups.push_back(std::make_unique<ModeCommand>(_context));
    _groups.push_back(std::make_unique<ServiceCommand>(_context));
    _groups.push_back(std::make_unique<SessionCommand>(_context));
    _groups.push_back(std::make_unique<SkillCommand>(_context));
    _groups.push_back(std::make_unique<NotificationCommand>(_context));
    _groups.push_back(std::make_unique<WifiCommand>(_context));
    _groups.push_back(std::make_unique<PowerCommand>(_context));
    _groups.push_back(std::make_unique<TimeCommand>(_context));
    _groups.push_back(std::make_unique<UpdateCommand>(_context));
    _groups.push_back(std::make_unique<StorageCommand>(_context));
    _groups.push_back(std::make_unique<CredentialsCommand>(_context));
    _groups.push_back(std::make_unique<DeviceCommand>(_context));
    _groups.push_back(std::make_unique<PolicyCommand>(_context));
    for (auto& group : _groups)
        group->define(app);
    // Set last, so that the subcommands' help does not repeat it.
    app.footer(FOOTER);
}

int CommandLine::run(const std::vector<std::string>& args)
{
    std::vector<std::string> reversed(args.rbegin(), args.rend());
    try
    {
        _app->parse(reversed);
        return EXIT_OK;
    }
    catch (const CLI::CallForHelp& e)
    {
        return _app->exit(e, _context.out(), _context.err());
    }
    catch (const CLI::CallForAllHelp& e)
    {
        return _app->exit(e, _context.out(), _context.err());
    }
    catch (const CLI::ParseError& e)
    {
        _app->exit(e, _context.out(), _context.err());
        return EXIT_USAGE;
    }
    catch (const ClientError& e)
    {
        _context.out().flush();
        const Style style = Style::forDescriptor(2);
        _context.err() << "pemoctl: " << style.red(e.what()) << '\n';
        return e.code();
    }
}

std::vector<std::string> CommandLine::complete(const std::vector<std::string>& words) const
{
    const CLI::App* app = _app.get();
    const std::string prefix = words.empty() ? "" : words.back();
    for (std::size_t i = 0; i + 1 < words.size(); ++i)
    {
        const auto next = app->get_subcommands([&](const CLI::App* sub) { return sub->check_name(words[i]); });
        if (!next.empty())
            app = next.front();
    }
    std::vector<std::string> found;
    auto offer = [&](const std::string& word) {
        if (word.compare(0, prefix.size(), prefix) == 0)
            found.push_back(word);
    };
    if (prefix.empty() || prefix[0] != '-')
        for (const CLI::App* sub : app->get_subcommands([](const CLI::App*) { return true; }))
            offer(sub->get_name());
    for (const CLI::App* level = app; level; level = level->get_parent())
        for (const CLI::Option* option : level->get_options())
            for (const auto& name : option->get_lnames())
                offer("--" + name);
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

} // namespace client
} // namespace pemo
