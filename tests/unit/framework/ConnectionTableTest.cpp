#include "ConnectionTable.h"

#include <gtest/gtest.h>

#include <algorithm>

using pemo::ConnectionTable;
using namespace std::chrono_literals;

namespace {

ConnectionTable::Limits limits(std::size_t maxConnections = 3)
{
    ConnectionTable::Limits l;
    l.maxConnections = maxConnections;
    return l;
}

const ConnectionTable::Clock::time_point T0{};

// The expired connections at now, as id and whether a 408 is owed, by id.
std::vector<std::pair<int, bool>> expiredAt(const ConnectionTable& table, ConnectionTable::Clock::time_point now)
{
    std::vector<std::pair<int, bool>> result;
    for (const auto& e : table.expired(now))
        result.emplace_back(e.id, e.answer);
    std::sort(result.begin(), result.end());
    return result;
}

} // namespace

// A head runs from the opening or the last answer whatever trickles in; a
// body gets its own time from the head; a connection at a worker has no
// deadline; only a kept-alive connection that sent nothing more, or one
// already closing, goes without a 408.
TEST(ConnectionTableTest, DeadlinesRunFromTheOpeningTheAnswerOrTheHead)
{
    ConnectionTable table(limits(10));
    table.opened(1, T0);              // sends nothing
    table.opened(2, T0);              // drips its head
    table.opened(3, T0);              // head in at 1 s, drips its body
    table.opened(4, T0);              // served, then kept alive at 2 s
    table.opened(5, T0);              // at a worker for good
    table.opened(6, T0);              // answered for the last time at 4 s
    table.headStarted(2);
    table.headStarted(3);
    table.bodyStarted(3, T0 + 1s);
    table.serving(4);
    table.answered(4, T0 + 2s);
    table.serving(5);
    table.closing(6, T0 + 4s);

    EXPECT_EQ(table.nextDeadline(), T0 + 5s);
    EXPECT_TRUE(expiredAt(table, T0 + 5s - 1ms).empty());
    EXPECT_EQ(expiredAt(table, T0 + 5s), (std::vector<std::pair<int, bool>>{{1, true}, {2, true}}));
    table.closed(1);
    table.closed(2);
    EXPECT_EQ(table.nextDeadline(), T0 + 6s);
    EXPECT_EQ(expiredAt(table, T0 + 6s), (std::vector<std::pair<int, bool>>{{6, false}}));
    table.closed(6);
    EXPECT_EQ(expiredAt(table, T0 + 7s), (std::vector<std::pair<int, bool>>{{4, false}}));
    EXPECT_EQ(expiredAt(table, T0 + 11s), (std::vector<std::pair<int, bool>>{{3, true}, {4, false}}));
    table.closed(3);
    table.closed(4);
    EXPECT_EQ(table.nextDeadline(), std::nullopt);
    EXPECT_TRUE(expiredAt(table, T0 + 1h).empty());
}

// At the limit, a closing connection goes first, then the one idle
// longest; one with a request under way never does.
TEST(ConnectionTableTest, TheConnectionIdleLongestMakesRoomAndBusyOnesNever)
{
    ConnectionTable table(limits(3));
    table.opened(1, T0 + 2s);
    table.opened(2, T0);
    table.opened(3, T0 + 1s);
    EXPECT_TRUE(table.full());
    EXPECT_EQ(table.victim(), 2);
    table.answered(2, T0 + 3s);
    EXPECT_EQ(table.victim(), 3);
    table.closing(2, T0 + 3s);
    EXPECT_EQ(table.victim(), 2);
    table.closed(2);
    EXPECT_FALSE(table.full());
    table.headStarted(3);
    table.opened(4, T0 + 4s);
    table.bodyStarted(4, T0 + 4s);
    table.serving(1);
    EXPECT_EQ(table.victim(), std::nullopt);
}

TEST(ConnectionTableTest, DefaultLimitIsAQuarterOfTheOpenFilesAtMost1024)
{
    EXPECT_EQ(ConnectionTable::defaultMaxConnections(1024), 256u);
    EXPECT_EQ(ConnectionTable::defaultMaxConnections(1048576), 1024u);
    EXPECT_EQ(ConnectionTable::defaultMaxConnections(3), 1u);
}
