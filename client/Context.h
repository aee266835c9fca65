#pragma once

#include "ApiClient.h"
#include "Settings.h"
#include "Style.h"

#include <Poco/JSON/Object.h>

#include <functional>
#include <istream>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace pemo {
namespace client {

/// What every command shares: the connection settings, the output form and
/// the streams it writes to.
class Context
{
public:
    Context(std::istream& in, std::ostream& out, std::ostream& err);

    Settings settings;
    /// --json: the server's JSON as it came, for scripts.
    bool json = false;
    /// Whether --token (or PEMO_TOKEN) was given; otherwise the token files are read.
    bool tokenGiven = false;

    /// A client for the settings; the token from the files when none was given.
    ApiClient client();
    /// The settings, with the token resolved as for client().
    const Settings& resolved();

    std::ostream& out() { return _out; }
    std::ostream& err() { return _err; }
    /// The style of standard output.
    const Style& style() const { return _style; }

    /// Prints an answer's body unchanged, ending in a line break (nothing
    /// for an empty body).
    void printBody(const Answer& answer);

    /// With --json the answer's body as it came; otherwise its JSON object
    /// (what names the request in errors) handed to human.
    void present(const Answer& answer, const std::string& what,
                 const std::function<void(const Poco::JSON::Object::Ptr&)>& human);

    /// For --json of commands that make several requests: one object whose
    /// members are the paths asked, each holding its answer's body as it
    /// came (null for an empty one).
    void printCombined(const std::vector<std::pair<std::string, const Answer*>>& answers);

    /// expect() of a call that may take long, with a spinner meanwhile on a
    /// terminal.
    Answer longCall(const std::string& method, const std::string& path, const std::string& body,
                    const std::string& label);

    /// Asks question on standard error and reads the answer; true for
    /// "y" or "yes". An input that ends answers no.
    bool confirm(const std::string& question);

private:
    std::istream& _in;
    std::ostream& _out;
    std::ostream& _err;
    Style _style;
    bool _resolved = false;
};

} // namespace client
} // namespace pemo
