#pragma once

#include <string>

namespace pemo {
namespace client {

/// Colours and symbols for people: escape sequences only on a terminal and
/// never when NO_COLOR is set; block characters only under a UTF-8 locale.
class Style
{
public:
    Style(bool colour, bool unicode);

    /// The style for output on the file descriptor fd, as the environment asks.
    static Style forDescriptor(int fd);

    std::string bold(const std::string& text) const { return wrap("1", text); }
    std::string dim(const std::string& text) const { return wrap("2", text); }
    std::string red(const std::string& text) const { return wrap("31", text); }
    std::string green(const std::string& text) const { return wrap("32", text); }
    std::string yellow(const std::string& text) const { return wrap("33", text); }

    /// A dot in front of a line of state: green for good, red for bad.
    std::string bullet(bool good) const;

    bool colour() const { return _colour; }
    bool unicode() const { return _unicode; }

    /// The number of characters of text that a terminal shows: escape
    /// sequences count nothing, a UTF-8 character one.
    static std::size_t width(const std::string& text);

private:
    std::string wrap(const char* code, const std::string& text) const;

    bool _colour;
    bool _unicode;
};

} // namespace client
} // namespace pemo
