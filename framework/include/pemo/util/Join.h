#pragma once

#include <sstream>
#include <string>

namespace pemo {
namespace util {

/// The elements of a container written one after the other with separator
/// between them: join({"a", "b"}, ", ") is "a, b".
template <class Container>
std::string join(const Container& items, const std::string& separator)
{
    std::ostringstream out;
    bool first = true;
    for (const auto& item : items)
    {
        if (!first)
            out << separator;
        out << item;
        first = false;
    }
    return out.str();
}

} // namespace util
} // namespace pemo
