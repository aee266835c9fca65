#include "SessionCommand.h"

#include "Json.h"

#include <CLI/CLI.hpp>

namespace pemo {
namespace client {

void SessionCommand::define(CLI::App& app)
{
    CLI::App* session = app.add_subcommand("session", "List, request, select and delete user sessions");
    session->require_subcommand(0, 1);
    session->add_subcommand("list", "List the session tokens, the current one marked (the default)")
        ->callback([this] { list(); });
    session->add_subcommand("request", "Create a new session and print it")->callback([this] { request(); });
    CLI::App* current = session->add_subcommand("current", "Show the current session, or select TOKEN as current");
    current->add_option("TOKEN", _token, "the session to make current");
    current->callback([this] { this->current(); });
    CLI::App* remove = session->add_subcommand("delete", "Delete a session, telling every service");
    remove->add_option("TOKEN", _token, "the session to delete")->required();
    remove->callback([this] { this->remove(); });
    session->callback([this, session] {
        if (session->get_subcommands().empty())
            list();
    });
}

void SessionCommand::list()
{
    ApiClient api = _context.client();
    const Answer answer = api.expect("GET", "/session/list");
    _context.present(answer, "GET /session/list", [&](const Poco::JSON::Object::Ptr& object) {
        // No current session is an ordinary state, answered 400.
        const Answer current = api.request("GET", "/session/current");
        const std::string token =
            current.ok() ? Json::text(Json::object(current.body, "GET /session/current")->getObject("session"), "token")
                         : std::string();
        const auto sessions = Json::array(object, "sessions");
        if (sessions->size() == 0)
            _context.out() << "No sessions.\n";
        for (std::size_t i = 0; i < sessions->size(); ++i)
        {
            const std::string each = sessions->getElement<std::string>(static_cast<unsigned>(i));
            _context.out() << (each == token ? _context.style().green("* " + each + " (current)") : "  " + each) << '\n';
        }
    });
}

void SessionCommand::request()
{
    const Answer answer = _context.client().expect("GET", "/session/request");
    _context.present(answer, "GET /session/request",
                     [this](const Poco::JSON::Object::Ptr& object) { printSession(object->getObject("session")); });
}

void SessionCommand::current()
{
    if (!_token.empty())
    {
        const Answer answer = _context.client().expect("POST", "/session/current", Json::build({{"session", _token}}));
        if (_context.json)
            _context.printBody(answer);
        return;
    }
    const Answer answer = _context.client().expect("GET", "/session/current");
    _context.present(answer, "GET /session/current",
                     [this](const Poco::JSON::Object::Ptr& object) { printSession(object->getObject("session")); });
}

void SessionCommand::remove()
{
    const Answer answer = _context.client().expect("POST", "/session/delete", Json::build({{"session", _token}}));
    if (_context.json)
        _context.printBody(answer);
}

void SessionCommand::printSession(const Poco::JSON::Object::Ptr& session)
{
    std::string held;
    const auto permissions = session ? session->getObject("permissions") : nullptr;
    for (const char* name : {"recordVideo", "recordAudio", "takePhoto", "firePhotonTorpedos"})
        if (Json::flag(permissions, name))
            held += (held.empty() ? "" : ", ") + std::string(name);
    _context.out() << "      Token: " << Json::text(session, "token") << '\n'
                   << "Permissions: " << (held.empty() ? "none" : held) << '\n';
}

} // namespace client
} // namespace pemo
