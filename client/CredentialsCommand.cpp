#include "CredentialsCommand.h"

#include "Json.h"

#include <CLI/CLI.hpp>

namespace pemo {
namespace client {

void CredentialsCommand::define(CLI::App& app)
{
    CLI::App* credentials = app.add_subcommand("credentials", "Show the cloud credentials, or replace them");
    credentials->require_subcommand(0, 1);
    credentials->add_flag("--show-secret", _showSecret, "print the secret access key instead of hiding it");
    CLI::App* set = credentials->add_subcommand("set", "Replace the cloud credentials (every service is told)");
    set->add_option("--access-key-id", _accessKeyId, "the access key id")->required()->type_name("ID");
    set->add_option("--secret-access-key", _secretAccessKey, "the secret access key")->required()->type_name("SECRET");
    set->add_option("--region", _region, "the cloud region, such as eu-west-1")->required()->type_name("REGION");
    set->callback([this] { this->set(); });
    credentials->callback([this, set] {
        if (!set->parsed())
            show();
    });
}

void CredentialsCommand::show()
{
    const Answer answer = _context.client().expect("GET", "/credentials");
    _context.present(answer, "GET /credentials", [this](const Poco::JSON::Object::Ptr& object) {
        // Older system managers answer the three members at the top level,
        // newer ones inside "credentials".
        const auto credentials = object->has("credentials") ? object->getObject("credentials") : object;
        std::string secret = Json::text(credentials, "secretAccessKey");
        if (!_showSecret)
            secret = secret.empty() ? "" : "(hidden; --show-secret prints it)";
        _context.out() << "    Access key id: " << Json::text(credentials, "accessKeyId") << '\n'
                       << "Secret access key: " << secret << '\n'
                       << "           Region: " << Json::text(credentials, "region") << '\n';
    });
}

void CredentialsCommand::set()
{
    const Answer answer = _context.client().expect(
        "POST", "/credentials",
        Json::build({{"accessKeyId", _accessKeyId}, {"secretAccessKey", _secretAccessKey}, {"region", _region}}));
    if (_context.json)
        _context.printBody(answer);
}

} // namespace client
} // namespace pemo
