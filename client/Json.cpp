#include "Json.h"

#include "ClientError.h"

#include <Poco/Exception.h>
#include <Poco/JSON/ParseHandler.h>
#include <Poco/JSON/Parser.h>
#include <Poco/JSON/Stringifier.h>

#include <sstream>

namespace pemo {
namespace client {

Poco::JSON::Object::Ptr Json::tryObject(const std::string& text)
{
    try
    {
        // Members in the order they came, as people read them in the answer.
        Poco::JSON::Parser parser(new Poco::JSON::ParseHandler(true));
        const Poco::Dynamic::Var value = parser.parse(text);
        if (value.type() == typeid(Poco::JSON::Object::Ptr))
            return value.extract<Poco::JSON::Object::Ptr>();
    }
    catch (const Poco::Exception&)
    {
    }
    return nullptr;
}

Poco::JSON::Object::Ptr Json::object(const std::string& body, const std::string& what)
{
    if (auto object = tryObject(body))
        return object;
    throw ClientError(EXIT_SERVER_ERROR, what + ": the answer is not a JSON object: " + oneLine(body));
}

std::string Json::text(const Poco::JSON::Object::Ptr& object, const std::string& name)
{
    if (!object || !object->has(name) || object->isNull(name))
        return {};
    const Poco::Dynamic::Var value = object->get(name);
    return value.isString() ? value.extract<std::string>() : write(value);
}

std::uint64_t Json::number(const Poco::JSON::Object::Ptr& object, const std::string& name)
{
    if (!object || !object->has(name))
        return 0;
    try
    {
        return object->get(name).convert<std::uint64_t>();
    }
    catch (const Poco::Exception&)
    {
        return 0;
    }
}

bool Json::flag(const Poco::JSON::Object::Ptr& object, const std::string& name)
{
    if (!object || !object->has(name))
        return false;
    try
    {
        return object->get(name).convert<bool>();
    }
    catch (const Poco::Exception&)
    {
        return false;
    }
}

Poco::JSON::Array::Ptr Json::array(const Poco::JSON::Object::Ptr& object, const std::string& name)
{
    Poco::JSON::Array::Ptr found = object ? object->getArray(name) : nullptr;
    return found ? found : Poco::JSON::Array::Ptr(new Poco::JSON::Array);
}

std::string Json::build(const std::vector<std::pair<std::string, Poco::Dynamic::Var>>& members)
{
    Poco::JSON::Object object(Poco::JSON_PRESERVE_KEY_ORDER);
    for (const auto& [name, value] : members)
        object.set(name, value);
    return write(object);
}

Poco::JSON::Array::Ptr Json::strings(const std::vector<std::string>& texts)
{
    Poco::JSON::Array::Ptr array = new Poco::JSON::Array;
    for (const auto& text : texts)
        array->add(text);
    return array;
}

std::string Json::write(const Poco::Dynamic::Var& value)
{
    std::ostringstream out;
    Poco::JSON::Stringifier::condense(value, out);
    return out.str();
}

std::string Json::quote(const std::string& text)
{
    return write(Poco::Dynamic::Var(text));
}

std::string Json::oneLine(const std::string& text)
{
    if (!valid(text))
    {
        std::string line = text;
        for (char& c : line)
            if (c == '\n' || c == '\r')
                c = ' ';
        return line;
    }
    std::string line;
    line.reserve(text.size());
    bool inString = false;
    bool escaped = false;
    for (const char c : text)
    {
        if (inString)
        {
            line += c;
            if (escaped)
                escaped = false;
            else if (c == '\\')
                escaped = true;
            else if (c == '"')
                inString = false;
            continue;
        }
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r')
            continue;
        line += c;
        inString = c == '"';
    }
    return line;
}

bool Json::valid(const std::string& text)
{
    try
    {
        Poco::JSON::Parser parser;
        parser.parse(text);
        return true;
    }
    catch (const Poco::Exception&)
    {
        return false;
    }
}

} // namespace client
} // namespace pemo
