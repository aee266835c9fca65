#pragma once

#include <chrono>
#include <thread>

namespace pemo {
namespace test {

/// Polls every 10 ms, for up to limit, until predicate holds; its last answer.
template <class Predicate>
bool eventually(Predicate predicate, std::chrono::milliseconds limit = std::chrono::seconds(5))
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!predicate() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return predicate();
}

} // namespace test
} // namespace pemo
