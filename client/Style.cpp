#include "Style.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace pemo {
namespace client {

namespace {

bool set(const char* name)
{
    const char* value = std::getenv(name);
    return value && *value;
}

bool utf8Locale()
{
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"})
    {
        const char* value = std::getenv(name);
        if (value && *value)
            return std::strstr(value, "UTF-8") || std::strstr(value, "utf8") || std::strstr(value, "UTF8");
    }
    return false;
}

} // namespace

Style::Style(bool colour, bool unicode) : _colour(colour), _unicode(unicode)
{
}

Style Style::forDescriptor(int fd)
{
    const char* term = std::getenv("TERM");
    const bool terminal = isatty(fd) == 1;
    const bool dumb = term && std::strcmp(term, "dumb") == 0;
    return Style(terminal && !dumb && !set("NO_COLOR"), terminal && utf8Locale());
}

std::string Style::bullet(bool good) const
{
    const std::string dot = _unicode ? "\u25CF" : "*";
    return good ? green(dot) : red(dot);
}

std::size_t Style::width(const std::string& text)
{
    std::size_t count = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] == '\033')
        {
            while (i < text.size() && text[i] != 'm')
                ++i;
            continue;
        }
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80)
            ++count;
    }
    return count;
}

std::string Style::wrap(const char* code, const std::string& text) const
{
    if (!_colour)
        return text;
    return std::string("\033[") + code + "m" + text + "\033[0m";
}

} // namespace client
} // namespace pemo
