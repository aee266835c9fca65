#include "Format.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <unistd.h>

namespace pemo {
namespace client {

std::string Format::bytes(std::uint64_t count)
{
    static const char suffixes[] = "KMGTPE";
    if (count < 1024)
        return std::to_string(count);
    double value = static_cast<double>(count);
    int unit = -1;
    while (value >= 1024 && unit < 5)
    {
        value /= 1024;
        ++unit;
    }
    // df rounds up, so that a full disk never reads as less than it holds.
    char text[32];
    if (value < 10)
    {
        const double tenths = std::ceil(value * 10 - 1e-9) / 10;
        if (tenths < 10)
        {
            std::snprintf(text, sizeof text, "%.1f%c", tenths, suffixes[unit]);
            return text;
        }
    }
    const double whole = std::ceil(value - 1e-9);
    if (whole >= 1024 && unit < 5)
    {
        std::snprintf(text, sizeof text, "1.0%c", suffixes[unit + 1]);
        return text;
    }
    std::snprintf(text, sizeof text, "%.0f%c", whole, suffixes[unit]);
    return text;
}

std::string Format::percent(std::uint64_t used, std::uint64_t available)
{
    const std::uint64_t total = used + available;
    if (total == 0)
        return "-";
    const std::uint64_t share = (used * 100 + total - 1) / total;
    return std::to_string(share) + "%";
}

std::string Format::bar(std::uint64_t used, std::uint64_t available, std::size_t width, bool unicode)
{
    const std::uint64_t total = used + available;
    const std::size_t filled =
        total == 0 ? 0 : static_cast<std::size_t>((static_cast<double>(used) / total) * width + 0.5);
    std::string text = "[";
    for (std::size_t i = 0; i < width; ++i)
        text += i < filled ? (unicode ? "\u2588" : "#") : (unicode ? "\u2591" : ".");
    return text + "]";
}

std::string Format::duration(std::uint64_t seconds)
{
    const std::uint64_t minutes = seconds / 60;
    const std::uint64_t hours = minutes / 60;
    const std::uint64_t days = hours / 24;
    if (days > 0)
        return std::to_string(days) + (days == 1 ? " day " : " days ") + std::to_string(hours % 24) + " h";
    if (hours > 0)
        return std::to_string(hours) + " h " + std::to_string(minutes % 60) + " min";
    if (minutes > 0)
        return std::to_string(minutes) + " min " + std::to_string(seconds % 60) + " s";
    return std::to_string(seconds) + " s";
}

std::string Format::wallClock(std::int64_t nanoseconds, const std::string& zone)
{
    const std::time_t seconds = static_cast<std::time_t>(nanoseconds / 1000000000);
    // The C library converts through the zone named by TZ; a name that has
    // no file here would silently read as UTC under its own name.
    const bool known = !zone.empty() && zone.find("..") == std::string::npos &&
                       access(("/usr/share/zoneinfo/" + zone).c_str(), R_OK) == 0;
    const char* previous = std::getenv("TZ");
    const std::string saved = previous ? previous : "";
    setenv("TZ", known ? zone.c_str() : "UTC", 1);
    tzset();
    std::tm parts{};
    localtime_r(&seconds, &parts);
    char text[64];
    std::strftime(text, sizeof text, "%a %Y-%m-%d %H:%M:%S %Z", &parts);
    if (previous)
        setenv("TZ", saved.c_str(), 1);
    else
        unsetenv("TZ");
    tzset();
    return text;
}

} // namespace client
} // namespace pemo
