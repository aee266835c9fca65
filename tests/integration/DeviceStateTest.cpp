// Time, storage and credentials on the simulated robot, and the health
// report of a healthy device. Failure paths are pinned by the managers'
// unit tests.
#include "SharedDevice.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <gtest/gtest.h>

#include <chrono>
#include <sstream>

namespace pemo::test {
namespace {

using Calls = std::vector<std::vector<std::string>>;

// Compact, members in name order: objects with the same members compare equal.
std::string str(const Poco::JSON::Object::Ptr& object)
{
    std::ostringstream out;
    object->stringify(out);
    return out.str();
}

// The zone set through the daemon is honoured by the device's own programs.
TEST(DeviceStateTest, SynchronisationRunsTheFakesInOrderAndDateFollowsTheZoneSet)
{
    const SimDevice& device = sharedDevice();
    for (const std::string program : {"S66ntp", "ntpdate", "hwclock"})
        device.clearCalls(program);
    EXPECT_EQ(sharedApi().post("/time/synchronize").status, 204);
    EXPECT_EQ(device.calls("S66ntp"), (Calls{{"stop"}, {"start"}}));
    EXPECT_EQ(device.calls("ntpdate"), (Calls{{"-b", "-u", "pool.ntp.org"}}));
    EXPECT_EQ(device.calls("hwclock"), (Calls{{"--systohc", "--utc"}}));

    EXPECT_EQ(sharedApi().post("/time/zone", R"({"timezone":"Asia/Tokyo"})").status, 204);
    EXPECT_EQ(sharedApi().get("/time/zone").body, "{\n    \"timezone\": \"Asia/Tokyo\"\n}");
    EXPECT_EQ(device.exec({"date", "+%Z %z"}).output, "JST +0900\n");
    EXPECT_EQ(sharedApi().post("/time/zone", R"({"timezone":"Mars"})").reason,
              "Failed to set timezone: Unknown Time Zone: Mars");

    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto reported = parseObject(sharedApi().get("/time/current").body)->getValue<Poco::Int64>("time");
    EXPECT_LT(std::llabs(reported - std::chrono::nanoseconds(now).count()), 5000000000LL);
}

// The next "CredentialsChanged" relayed to a subscriber, as its data.
Poco::JSON::Object::Ptr nextCredentialsChange(WebSocketSubscriber& subscriber, Poco::Timespan wait)
{
    while (const auto frame = subscriber.receive(wait))
        if (parseObject(*frame)->getValue<std::string>("type") == "CredentialsChanged")
            return parseObject(*frame)->getObject("data");
    return nullptr;
}

TEST(DeviceStateTest, EveryStoredChangeOfCredentialsIsAnnouncedWithThePreviousOnes)
{
    auto subscriber = subscribe(sharedDevice());
    ASSERT_TRUE(subscriber);
    const std::string first = R"({"accessKeyId":"id-1","secretAccessKey":"secret-1","region":"eu-west-1"})";
    const std::string second = R"({"accessKeyId":"id-2","secretAccessKey":"secret-2","region":"us-east-1"})";

    EXPECT_EQ(sharedApi().post("/credentials", first).status, 204);
    EXPECT_EQ(sharedApi().post("/credentials", R"({"accessKeyId":"x","secretAccessKey":"y"})").status, 400);
    EXPECT_EQ(sharedApi().post("/credentials", second).status, 204);

    const auto one = nextCredentialsChange(*subscriber, Poco::Timespan(5, 0));
    const auto two = nextCredentialsChange(*subscriber, Poco::Timespan(5, 0));
    ASSERT_TRUE(one && two);
    EXPECT_EQ(str(one->getObject("credentials")), str(parseObject(first)));
    EXPECT_EQ(str(two->getObject("previous")), str(parseObject(first)));
    EXPECT_EQ(str(two->getObject("credentials")), str(parseObject(second)));
    // The refused post announced nothing.
    EXPECT_FALSE(nextCredentialsChange(*subscriber, Poco::Timespan(1, 0)));
    EXPECT_EQ(str(parseObject(sharedApi().get("/credentials").body)->getObject("credentials")),
              str(parseObject(second)));
}

// The report also shows the configured storage areas, measured.
TEST(DeviceStateTest, AHealthyDeviceReportsNoErrors)
{
    const HttpResponse health = sharedApi().get("/_M_/health");
    const auto report = parseObject(health.body);
    EXPECT_EQ(report->getArray("errors")->size(), 0u) << health.body;
    EXPECT_FALSE(report->getValue<std::string>("timezone").empty());
    const auto usage = report->getArray("usage");
    ASSERT_EQ(usage->size(), 3u);
    EXPECT_EQ(usage->getObject(0)->getValue<std::string>("type"), "logs");
    EXPECT_GT(usage->getObject(0)->getValue<Poco::UInt64>("size"), 0u);
    EXPECT_EQ(usage->getObject(2)->getValue<std::string>("type"), "skills");
    EXPECT_GT(usage->getObject(2)->getValue<Poco::UInt64>("size"), 0u);
}

} // namespace
} // namespace pemo::test
