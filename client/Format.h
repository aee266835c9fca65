#pragma once

#include <cstdint>
#include <string>

namespace pemo {
namespace client {

/// Numbers as people read them.
class Format
{
public:
    /// A byte count as df -h writes it: powers of 1024 with the suffixes
    /// K, M, G, T, P, one decimal below 10 ("1.5G", "12M", "512").
    static std::string bytes(std::uint64_t count);

    /// The share of a file system in use as df counts it: used against
    /// used plus what is still available, rounded up ("37%"; "-" for none).
    static std::string percent(std::uint64_t used, std::uint64_t available);

    /// A bar of width cells, filled in proportion to used / (used +
    /// available): "[####......]", or with block characters.
    static std::string bar(std::uint64_t used, std::uint64_t available, std::size_t width, bool unicode);

    /// A span of seconds: "42 s", "3 min 2 s", "5 h 3 min", "2 days 4 h".
    static std::string duration(std::uint64_t seconds);

    /// A wall-clock time (nanoseconds since the epoch) in the time zone
    /// zone, as "Tue 2025-06-03 14:02:11 CEST"; in UTC when zone is empty
    /// or unknown here.
    static std::string wallClock(std::int64_t nanoseconds, const std::string& zone);
};

} // namespace client
} // namespace pemo
