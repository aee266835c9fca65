#include "Context.h"

#include "Json.h"
#include "Spinner.h"

#include <cstdlib>
#include <unistd.h>

namespace pemo {
namespace client {

Context::Context(std::istream& in, std::ostream& out, std::ostream& err)
    : _in(in), _out(out), _err(err), _style(Style::forDescriptor(STDOUT_FILENO))
{
}

const Settings& Context::resolved()
{
    if (!_resolved && !tokenGiven)
        settings.token = Settings::readToken(Settings::tokenFiles(std::getenv("HOME")));
    if (settings.token && settings.token->empty())
        settings.token.reset();
    _resolved = true;
    return settings;
}

ApiClient Context::client()
{
    return ApiClient(resolved());
}

void Context::printBody(const Answer& answer)
{
    if (answer.body.empty())
        return;
    _out << answer.body;
    if (answer.body.back() != '\n')
        _out << '\n';
}

void Context::present(const Answer& answer, const std::string& what,
                      const std::function<void(const Poco::JSON::Object::Ptr&)>& human)
{
    if (json)
        return printBody(answer);
    human(Json::object(answer.body, what));
}

void Context::printCombined(const std::vector<std::pair<std::string, const Answer*>>& answers)
{
    _out << "{";
    const char* separator = "\n";
    for (const auto& [path, answer] : answers)
    {
        std::string body = answer->body;
        while (!body.empty() && (body.back() == '\n' || body.back() == ' '))
            body.pop_back();
        _out << separator << Json::quote(path) << ": " << (body.empty() ? "null" : body);
        separator = ",\n";
    }
    _out << "\n}\n";
}

Answer Context::longCall(const std::string& method, const std::string& path, const std::string& body,
                         const std::string& label)
{
    const ApiClient api = client();
    Spinner spinner(label, Spinner::wanted());
    return api.expect(method, path, body, ApiClient::LONG);
}

bool Context::confirm(const std::string& question)
{
    _err << question << " [y/N] " << std::flush;
    std::string answer;
    if (!std::getline(_in, answer))
    {
        _err << '\n';
        return false;
    }
    return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes";
}

} // namespace client
} // namespace pemo
