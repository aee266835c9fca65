#include "RouteTable.h"

namespace pemo {

void RouteTable::addHandler(const std::string& regex, HTTPRequestHandler* handler)
{
    auto expression = std::make_unique<Poco::RegularExpression>(regex);
    std::lock_guard<std::mutex> lock(_mutex);
    _entries.push_back(Entry{std::move(expression), handler, nullptr});
}

void RouteTable::addPort(const std::string& regex, Port& port)
{
    auto expression = std::make_unique<Poco::RegularExpression>(regex);
    std::lock_guard<std::mutex> lock(_mutex);
    _entries.push_back(Entry{std::move(expression), nullptr, &port});
}

void RouteTable::clear()
{
    std::lock_guard<std::mutex> lock(_mutex);
    _entries.clear();
}

RouteTable::Match RouteTable::match(const std::string& path) const
{
    std::lock_guard<std::mutex> lock(_mutex);
    Match result;
    for (const auto& entry : _entries)
    {
        Poco::RegularExpression::MatchVec groups;
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
