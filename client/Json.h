#pragma once

#include <Poco/Dynamic/Var.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace pemo {
namespace client {

/// Reading the system manager's answers and writing request bodies.
class Json
{
public:
    /// body parsed as a JSON object. Throws ClientError (EXIT_SERVER_ERROR)
    /// naming what when it is none.
    static Poco::JSON::Object::Ptr object(const std::string& body, const std::string& what);

    /// text parsed as a JSON object, or null when it is none.
    static Poco::JSON::Object::Ptr tryObject(const std::string& text);

    /// The member name of object as a string ("" when absent or null).
    static std::string text(const Poco::JSON::Object::Ptr& object, const std::string& name);
    /// The member name as a number (0 when absent or not a number).
    static std::uint64_t number(const Poco::JSON::Object::Ptr& object, const std::string& name);
    /// The member name as a boolean (false when absent).
    static bool flag(const Poco::JSON::Object::Ptr& object, const std::string& name);
    /// The member name as an array (an empty one when absent).
    static Poco::JSON::Array::Ptr array(const Poco::JSON::Object::Ptr& object, const std::string& name);

    /// A request body: one object with members, in that order.
    static std::string build(const std::vector<std::pair<std::string, Poco::Dynamic::Var>>& members);
    /// texts as a JSON array.
    static Poco::JSON::Array::Ptr strings(const std::vector<std::string>& texts);

    /// value written as compact JSON.
    static std::string write(const Poco::Dynamic::Var& value);
    /// text as a JSON string literal, quotes included.
    static std::string quote(const std::string& text);

    /// text on one line: the blanks and line breaks between JSON tokens
    /// dropped, strings left as they are. Text that is not JSON keeps its
    /// characters, with each line break turned into a blank.
    static std::string oneLine(const std::string& text);

    /// Whether text is one JSON value.
    static bool valid(const std::string& text);
};

} // namespace client
} // namespace pemo
