// What pemoctl writes for people and scripts, below what a device test
// can provoke: rounding at unit boundaries, escapes, zones, widths.
#include "Format.h"
#include "Json.h"
#include "Style.h"
#include "Table.h"

#include <gtest/gtest.h>

#include <sstream>

namespace pemo::client {
namespace {

TEST(FormatTest, BytesRoundUpLikeDf)
{
    EXPECT_EQ(Format::bytes(0), "0");
    EXPECT_EQ(Format::bytes(1023), "1023");
    EXPECT_EQ(Format::bytes(1024), "1.0K");
    EXPECT_EQ(Format::bytes(1025), "1.1K");
    EXPECT_EQ(Format::bytes(10 * 1024 - 1), "10K");
    EXPECT_EQ(Format::bytes(10 * 1024 + 1), "11K");
    EXPECT_EQ(Format::bytes(1024ull * 1024 - 1), "1.0M");
    EXPECT_EQ(Format::bytes(5ull << 40), "5.0T");
    EXPECT_EQ(Format::percent(1, 199), "1%");
    EXPECT_EQ(Format::percent(0, 0), "-");
    EXPECT_EQ(Format::bar(1, 3, 4, false), "[#...]");
    EXPECT_EQ(Format::bar(0, 0, 2, false), "[..]");
}

TEST(FormatTest, DurationsAndZones)
{
    EXPECT_EQ(Format::duration(59), "59 s");
    EXPECT_EQ(Format::duration(3600 + 61), "1 h 1 min");
    EXPECT_EQ(Format::duration(2 * 86400 + 7200), "2 days 2 h");
    const std::int64_t summer = 1751544131LL * 1000000000; // 2025-07-03 12:02:11 UTC
    EXPECT_EQ(Format::wallClock(summer, "Europe/Paris"), "Thu 2025-07-03 14:02:11 CEST");
    EXPECT_EQ(Format::wallClock(summer, "Mars/Olympus"), "Thu 2025-07-03 12:02:11 UTC");
    EXPECT_EQ(Format::wallClock(summer, "../../etc/passwd"), "Thu 2025-07-03 12:02:11 UTC");
}

TEST(JsonTest, OneLineDropsOnlyTheBlanksBetweenTokens)
{
    EXPECT_EQ(Json::oneLine("{\n    \"a\": \"x \\\" y\",\n    \"b\": [1, 2]\n}"), R"({"a":"x \" y","b":[1,2]})");
    EXPECT_EQ(Json::oneLine(R"({"a": "back\\", "b": " "})"), R"({"a":"back\\","b":" "})");
    EXPECT_EQ(Json::oneLine("not\njson {"), "not json {");
    EXPECT_EQ(Json::build({{"name", std::string("a\"b")}, {"ids", Json::strings({"x"})}}), R"({"name":"a\"b","ids":["x"]})");
    EXPECT_FALSE(Json::tryObject("[1]"));
}

TEST(TableTest, ColumnsAlignOnWhatATerminalShows)
{
    const Style colour(true, true);
    EXPECT_EQ(Style::width(colour.red("\u2588\u2588x")), 3u);
    Table table({"A", "B"});
    table.add({colour.green("long"), "1"});
    table.add({"s", "2"});
    std::ostringstream out;
    table.print(out, Style(false, false));
    EXPECT_EQ(out.str(), "A     B\n\033[32mlong\033[0m  1\ns     2\n");
}

} // namespace
} // namespace pemo::client
