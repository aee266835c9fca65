#include "app/HealthReport.h"
#include "app/SystemManager.h"

#include <gtest/gtest.h>

using namespace pemo::system;

TEST(HealthReportTest, TimePointsAreWrittenInTheirOwnUnits)
{
    HealthReport report;
    Skill skill;
    skill.name = "hello";
    skill.path = "/opt/skills/hello";
    skill.version = "1.0";
    skill.running = true;
    skill.lastStartTime = Skill::Clock::time_point(std::chrono::nanoseconds(12345678912345));
    report.skills.push_back(skill);
    // Six gigabytes: more than a 32-bit size holds.
    report.usage.push_back({"logs", 6442450944u});
    report.backup.successes = 2;
    // A wall-clock stamp of today: past 32 bits, and past the 53 bits that a
    // detour through double would keep.
    report.backup.last_success = HealthReport::Stats::TimePoint(std::chrono::nanoseconds(1795451173123456789));

    const std::string json = report.toJSON();

    // Skills: [whole seconds, remaining microseconds] of the monotonic clock.
    EXPECT_NE(std::string::npos, json.find("\"name\": \"hello\",\n            \"path\": \"/opt/skills/hello\",\n"
                                           "            \"version\": \"1.0\",\n            \"running\": true,\n"
                                           "            \"lastStartTime\": [\n                12345,\n"
                                           "                678912\n            ]"))
        << json;
    EXPECT_NE(std::string::npos, json.find("\"type\": \"logs\",\n            \"size\": 6442450944")) << json;
    // Statistics: the raw nanosecond count.
    EXPECT_NE(std::string::npos, json.find("\"backup\": {\n        \"last_success\": 1795451173123456789,\n"
                                           "        \"last_failure\": 0,\n        \"successes\": 2,"))
        << json;
}

// Every member, in order, with zeroed statistics, and an error for each
// manager that is not running.
TEST(HealthReportTest, EveryAbsentManagerIsExplainedInOrder)
{
    SystemManager manager;

    const std::string zeroed = "{\n        \"last_success\": 0,\n        \"last_failure\": 0,\n"
                               "        \"successes\": 0,\n        \"failures\": 0\n    }";
    EXPECT_EQ("{\n    \"timezone\": \"\",\n    \"skills\": [],\n    \"usage\": [],\n    \"backup\": " + zeroed +
                  ",\n    \"wipe\": " + zeroed + ",\n    \"restore\": " + zeroed +
                  ",\n    \"errors\": [\n        \"No time manager running\",\n        \"No skill manager running\",\n"
                  "        \"No storage manager running\",\n        \"No service manager running\"\n    ]\n}",
              manager.onHealth());
}
