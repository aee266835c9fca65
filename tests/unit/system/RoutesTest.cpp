#include "pemo/system/Routes.h"

#include <Poco/RegularExpression.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using pemo::system::Routes;

namespace {

// What the service framework does with the table: the first expression, in
// registration order, that matches the path wins, and its capture groups
// are handed on (an unset group as an empty string).
struct Dispatch
{
    int route = -1;
    std::vector<std::string> captures;
};

Dispatch dispatch(const std::string& path)
{
    Dispatch result;
    for (int r = 0; r < Routes::ROUTE_COUNT; ++r)
    {
        Poco::RegularExpression expression(Routes::expression(static_cast<Routes::Route>(r)));
        Poco::RegularExpression::MatchVec groups;
        if (expression.match(path, 0, groups) == 0)
            continue;
        result.route = r;
        for (std::size_t i = 1; i < groups.size(); ++i)
            result.captures.push_back(groups[i].offset == std::string::npos
                                          ? std::string()
                                          : path.substr(groups[i].offset, groups[i].length));
        break;
    }
    return result;
}

const int NONE = -1;

} // namespace

TEST(RoutesTest, EveryEndpointReachesItsOwnHandler)
{
    const std::vector<std::pair<std::string, int>> paths{
        {"/service/list", Routes::SERVICE_LIST},
        {"/service/start", Routes::SERVICE_START},
        {"/service/stop", Routes::SERVICE_STOP},
        {"/service/restart", Routes::SERVICE_RESTART},
        {"/session/request", Routes::SESSION_REQUEST},
        {"/session/delete", Routes::SESSION_DELETE},
        {"/session/current", Routes::SESSION_CURRENT},
        {"/session/list", Routes::SESSION_LIST},
        {"/skill/refresh", Routes::SKILL_REFRESH},
        {"/skill/list", Routes::SKILL_LIST},
        {"/skill/launch", Routes::SKILL_LAUNCH},
        {"/skill/terminate", Routes::SKILL_TERMINATE},
        {"/wifi/wpa", Routes::WIFI_WPA},
        {"/wifi/interface", Routes::WIFI_INTERFACE},
        {"/version", Routes::VERSION},
        {"/identity", Routes::IDENTITY},
        {"/time/current", Routes::TIME_CURRENT},
        {"/time/synchronize", Routes::TIME_SYNCHRONIZE},
        {"/time/zone", Routes::TIME_ZONE},
        {"/credentials", Routes::CREDENTIALS},
        {"/mode", Routes::MODE},
        {"/system_notify", Routes::SYSTEM_NOTIFY},
        {"/update", Routes::UPDATE},
        {"/power/off", Routes::POWER_OFF},
        {"/power/reboot", Routes::POWER_REBOOT},
        {"/storage/mounts", Routes::STORAGE_MOUNTS},
        {"/storage/semantic", Routes::STORAGE_SEMANTIC},
        {"/system/wipe", Routes::SYSTEM_WIPE},
        {"/system/backup", Routes::SYSTEM_BACKUP},
        {"/system/restore", Routes::SYSTEM_RESTORE},
        {"/logs/upload", Routes::LOGS_UPLOAD},
        {"/dynamic_firewall", Routes::DYNAMIC_FIREWALL},
    };
    ASSERT_EQ(static_cast<std::size_t>(Routes::ROUTE_COUNT), paths.size());
    for (const auto& [path, route] : paths)
    {
        EXPECT_EQ(route, dispatch(path).route) << path;
        if (path != "/time/zone")
        {
            EXPECT_EQ(route, dispatch(path + "/").route) << path << "/";
        }
    }
}

TEST(RoutesTest, OnlyTheWholePathMatches)
{
    for (const std::string path : {"/service/list/x", "/service/listx", "/x/service/list", "/service", "/",
                                   "/system_notifications", "/wifi/messages", "/update/a/b", "/version//"})
        EXPECT_EQ(NONE, dispatch(path).route) << path;
}

TEST(RoutesTest, TimeZoneTakesAnOptionalFinalLetterAndNoSlash)
{
    EXPECT_EQ(Routes::TIME_ZONE, dispatch("/time/zon").route);
    EXPECT_EQ(Routes::TIME_ZONE, dispatch("/time/zone").route);
    EXPECT_EQ(NONE, dispatch("/time/zone/").route);
    EXPECT_EQ(NONE, dispatch("/time/zon/").route);
}

TEST(RoutesTest, UpdateCapturesAnOptionalIdentifier)
{
    const std::vector<std::pair<std::string, std::string>> cases{
        {"/update", ""},       {"/update/", ""},           {"/update/abc-1.2", "abc-1.2"},
        {"/updateabc", "abc"}, {"/update/a_B.9", "a_B.9"}, {"/update/-", "-"},
    };
    for (const auto& [path, capture] : cases)
    {
        const Dispatch result = dispatch(path);
        EXPECT_EQ(Routes::UPDATE, result.route) << path;
        // An identifier that is not there may come as no capture at all.
        ASSERT_LE(result.captures.size(), 1u) << path;
        EXPECT_EQ(capture, result.captures.empty() ? std::string() : result.captures.front()) << path;
    }
}

// The identifier is letters, digits, '-', '_' and '.', nothing else: in
// particular the characters that sort between '9' and '_' are refused.
TEST(RoutesTest, UpdateRefusesOtherCharactersInTheIdentifier)
{
    for (const std::string path : {"/update/beta-1.2/", "/update/a:b", "/update/a@b", "/update/a[b", "/update/a b",
                                   "/update/a%20b", "/update/A^"})
        EXPECT_EQ(NONE, dispatch(path).route) << path;
}

TEST(RoutesTest, PortsAreMatchedOnTheirOwnPaths)
{
    Poco::RegularExpression notifications(Routes::SYSTEM_NOTIFICATIONS_PORT);
    Poco::RegularExpression wifi(Routes::WIFI_MESSAGES_PORT);

    EXPECT_TRUE(notifications.match("/system_notifications"));
    EXPECT_TRUE(notifications.match("/system_notifications/"));
    EXPECT_FALSE(notifications.match("/system_notify"));
    EXPECT_TRUE(wifi.match("/wifi/messages/"));
    EXPECT_FALSE(wifi.match("/wifi/messages/x"));
}
