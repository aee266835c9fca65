// Time, storage and credentials on the simulated robot, and the health
// report of a healthy device. The failure paths of each are pinned by the
// unit tests of their managers.
#include "SharedDevice.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>

#include <gtest/gtest.h>

#include <chrono>

namespace pemo::test {
namespace {

using Calls = std::vector<std::vector<std::string>>;

Poco::JSON::Object::Ptr parse(const std::string& text)
{
    return Poco::JSON::Parser().parse(text).extract<Poco::JSON::Object::Ptr>();
}

TEST(DeviceStateTest, SynchronisationRunsTheConfiguredProgramsInOrder)
{
    const SimDevice& device = sharedDevice();
    for (const std::string program : {"S66ntp", "ntpdate", "hwclock"})
        device.clearCalls(program);

    const HttpResponse r = sharedApi().post("/time/synchronize");

    EXPECT_EQ(r.status, 204) << r.reason;
    EXPECT_EQ(device.calls("S66ntp"), (Calls{{"stop"}, {"start"}}));
    EXPECT_EQ(device.calls("ntpdate"), (Calls{{"-b", "-u", "pool.ntp.org"}}));
    EXPECT_EQ(device.calls("hwclock"), (Calls{{"--systohc", "--utc"}}));
}

// The zone is set through the daemon and honoured by the device's own
// programs, through the real zone tree.
TEST(DeviceStateTest, ATimeZoneSetIsWhatDateInsideTheDeviceUses)
{
    const SimDevice& device = sharedDevice();
    EXPECT_EQ(sharedApi().post("/time/zone", R"({"timezone":"Asia/Tokyo"})").status, 204);
    EXPECT_EQ(parse(sharedApi().get("/time/zone").body)->getValue<std::string>("timezone"), "Asia/Tokyo");
    EXPECT_EQ(device.exec({"date", "+%Z %z"}).output, "JST +0900\n");
    EXPECT_EQ(device.exec({"readlink", "/var/etc/localtime"}).output, "/usr/share/zoneinfo/Asia/Tokyo\n");

    const HttpResponse unknown = sharedApi().post("/time/zone", R"({"timezone":"Mars/Olympus"})");
    EXPECT_EQ(unknown.status, 500);
    EXPECT_EQ(unknown.reason, "Failed to set timezone: Unknown Time Zone: Mars/Olympus");
    EXPECT_EQ(device.exec({"date", "+%Z"}).output, "JST\n");

    const auto now = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::system_clock::now().time_since_epoch()).count();
    const auto reported = parse(sharedApi().get("/time/current").body)->getValue<Poco::Int64>("time");
    EXPECT_LT(std::llabs(reported - now), 5000000000LL);
}

TEST(DeviceStateTest, StorageReportsTheMountsAndTheConfiguredAreas)
{
    const auto mounts = parse(sharedApi().get("/storage/mounts").body)->getArray("mounts");
    bool root = false;
    for (std::size_t i = 0; i < mounts->size(); ++i)
        root = root || (mounts->getObject(i)->getValue<std::string>("path") == "/" &&
                        mounts->getObject(i)->getValue<Poco::UInt64>("size") > 0);
    EXPECT_TRUE(root);

    const auto usage = parse(sharedApi().get("/storage/semantic").body)->getArray("usage");
    ASSERT_EQ(usage->size(), 3u);
    EXPECT_EQ(usage->getObject(0)->getValue<std::string>("type"), "logs");
    EXPECT_GT(usage->getObject(0)->getValue<Poco::UInt64>("size"), 0u);
    EXPECT_EQ(usage->getObject(1)->getValue<std::string>("type"), "ota");
    EXPECT_EQ(usage->getObject(2)->getValue<std::string>("path"), "/opt/pemo/Pemo/Skills");
    EXPECT_GT(usage->getObject(2)->getValue<Poco::UInt64>("size"), 0u);
}

// The next "CredentialsChanged" relayed to a subscriber, as its data.
Poco::JSON::Object::Ptr nextCredentialsChange(WebSocketSubscriber& subscriber, Poco::Timespan wait)
{
    while (const auto frame = subscriber.receive(wait))
    {
        const auto notification = parse(*frame);
        if (notification->getValue<std::string>("type") == "CredentialsChanged")
            return notification->getObject("data");
    }
    return nullptr;
}

TEST(DeviceStateTest, EveryStoredChangeOfCredentialsIsAnnouncedWithThePreviousOnes)
{
    int status = 0;
    auto subscriber = WebSocketSubscriber::connect(sharedDevice().port(), "/system_notifications",
                                                   sharedDevice().token(), status);
    ASSERT_TRUE(subscriber) << status;
    const std::string first = R"({"accessKeyId":"id-1","secretAccessKey":"secret-1","region":"eu-west-1"})";
    const std::string second = R"({"accessKeyId":"id-2","secretAccessKey":"secret-2","region":"us-east-1"})";

    EXPECT_EQ(sharedApi().post("/credentials", first).status, 204);
    EXPECT_EQ(sharedApi().post("/credentials", R"({"accessKeyId":"x","secretAccessKey":"y"})").status, 400);
    EXPECT_EQ(sharedApi().post("/credentials", second).status, 204);

    const auto one = nextCredentialsChange(*subscriber, Poco::Timespan(5, 0));
    ASSERT_TRUE(one);
    EXPECT_EQ(one->getObject("credentials")->getValue<std::string>("region"), "eu-west-1");
    const auto two = nextCredentialsChange(*subscriber, Poco::Timespan(5, 0));
    ASSERT_TRUE(two);
    EXPECT_EQ(two->getObject("previous")->getValue<std::string>("accessKeyId"), "id-1");
    EXPECT_EQ(two->getObject("previous")->getValue<std::string>("secretAccessKey"), "secret-1");
    EXPECT_EQ(two->getObject("previous")->getValue<std::string>("region"), "eu-west-1");
    EXPECT_EQ(two->getObject("credentials")->getValue<std::string>("accessKeyId"), "id-2");
    // The refused post announced nothing.
    EXPECT_FALSE(nextCredentialsChange(*subscriber, Poco::Timespan(1, 0)));
    EXPECT_EQ(parse(sharedApi().get("/credentials").body)->getValue<std::string>("region"), "us-east-1");
}

TEST(DeviceStateTest, AHealthyDeviceReportsNoErrors)
{
    const HttpResponse health = sharedApi().get("/_M_/health");
    ASSERT_EQ(health.status, 200);
    const auto report = parse(health.body);
    EXPECT_EQ(report->getArray("errors")->size(), 0u) << health.body;
    EXPECT_FALSE(report->getValue<std::string>("timezone").empty());
    EXPECT_EQ(report->getArray("usage")->size(), 3u);
}

} // namespace
} // namespace pemo::test
