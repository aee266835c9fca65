#include "RouteTable.h"

namespace pemo {

void RouteTable::addHandler(const std::string& regex, HTTPRequestHandler* handler)
{
    _entries.push_back(Entry{std::make_unique<Poco::RegularExpression>(regex), handler, nullptr});
}

void RouteTable::addPort(const std::string& regex, Port& port)
{
    _entries.push_back(Entry{std::make_unique<Poco::RegularExpression>(regex), nullptr, &port});
}

void RouteTable::clear()
{
    _entries.clear();
}

RouteTable::Match RouteTable::match(const std::string& path) const
{
    Match result;
    Poco::RegularExpression::MatchVec groups;
    for (const auto& entry : _entries)
    {
        if (entry.regex->match(path, 0, groups) == 0)
            continue;
        result.handler = entry.handler;
        result.port = entry.port;
        for (std::size_t i = 1; i < groups.size(); ++i)
        {
            const auto& group = groups[i];
            result.captures.push_back(group.offset == std::string::npos ? std::string()
                                                                        : path.substr(group.offset, group.length));
        }
        break;
    }
    return result;
}

} // namespace pemo
