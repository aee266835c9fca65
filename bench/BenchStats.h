#pragma once

// The few statistics every benchmark prints, so that their figures are
// computed the same way and stay comparable from one bench to the next.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace pemo::bench {

/// The value at fraction p (0 to 1) of the sorted values, nearest rank.
inline double percentile(std::vector<double> values, double p)
{
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(p * static_cast<double>(values.size() - 1) + 0.5)];
}

inline double median(const std::vector<double>& values)
{
    return percentile(values, 0.5);
}

/// A duration in milliseconds, fractions kept.
inline double milliseconds(std::chrono::steady_clock::duration d)
{
    return std::chrono::duration<double, std::milli>(d).count();
}

/// Milliseconds from start to now on the steady clock.
inline double millisecondsSince(std::chrono::steady_clock::time_point start)
{
    return milliseconds(std::chrono::steady_clock::now() - start);
}

} // namespace pemo::bench
