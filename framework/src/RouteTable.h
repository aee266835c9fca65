#pragma once

#include "pemo/HTTPRequestHandler.h"
#include "pemo/Port.h"

#include <Poco/RegularExpression.h>

#include <memory>
#include <string>
#include <vector>

namespace pemo {

/// Path expressions and what they lead to, matched in registration order.
///
/// Filled while the service initialises and cleared once it has stopped,
/// never while requests are served: match() takes no lock, so every request
/// can match at once.
class RouteTable
{
public:
    struct Match
    {
        HTTPRequestHandler* handler = nullptr;
        Port* port = nullptr;
        /// One entry per capture group; an unmatched group is empty.
        std::vector<std::string> captures;
    };

    /// Throws Poco::RegularExpressionException for a bad expression.
    void addHandler(const std::string& regex, HTTPRequestHandler* handler);
    void addPort(const std::string& regex, Port& port);
    void clear();

    /// The first entry whose expression matches path; neither handler nor
    /// port set when none does.
    Match match(const std::string& path) const;

private:
    struct Entry
    {
        std::unique_ptr<Poco::RegularExpression> regex;
        HTTPRequestHandler* handler;
        Port* port;
    };

    std::vector<Entry> _entries;
};

} // namespace pemo
