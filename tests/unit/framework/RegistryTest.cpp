#include "FrameworkTestSupport.h"
#include "RegistryHandler.h"
#include "RegistryStore.h"

#include "pemo/ServiceRegistrationTask.h"
#include "pemo/ServiceRegistryClient.h"

#include <Poco/Net/NetException.h>

#include <gtest/gtest.h>

using namespace pemo;
using pemo::test::TestService;
using Clock = std::chrono::steady_clock;

namespace {

ServiceRecord record(const std::string& name, std::uint32_t ttl = 30, std::uint32_t port = 1000)
{
    return ServiceRecord{name, "127.0.0.1", port, "/", ttl, ""};
}

class RegistryTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        service = std::make_unique<TestService>(
            [this](TestService& s) { s.registerHandler("^/registry(?:/([^/]+))?/?$", &handler); });
        service->startAll();
        client.setAddress("127.0.0.1", service->port());
    }

    RegistryStore store;
    RegistryHandler handler{store};
    std::unique_ptr<TestService> service;
    ServiceRegistryClient client;
};

} // namespace

TEST(RegistryStoreTest, RecordsExpireAfterTheirTtlUnlessPutAgain)
{
    RegistryStore store;
    const auto t0 = Clock::now();
    store.put(record("short", 2), t0);
    store.put(record("forever", 0), t0);
    EXPECT_TRUE(store.find("short", t0 + std::chrono::milliseconds(1999)));
    store.put(record("short", 2), t0 + std::chrono::seconds(1));
    EXPECT_TRUE(store.find("short", t0 + std::chrono::milliseconds(2999)));
    EXPECT_FALSE(store.find("short", t0 + std::chrono::seconds(3)));
    EXPECT_TRUE(store.find("forever", t0 + std::chrono::hours(1000)));
}

TEST_F(RegistryTest, ClientRegistersListsFindsAndDeletes)
{
    client.registerService(record("b", 30, 2));
    client.registerService(record("a", 30, 1));
    client.registerService(record("b", 30, 3));
    const auto all = client.getServices();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].name, "a");
    EXPECT_EQ(all[1].port, 3u);
    ASSERT_TRUE(client.findService("a"));
    EXPECT_EQ(client.findService("a")->host, "127.0.0.1");
    EXPECT_FALSE(client.findService("missing"));
    client.deleteService("a");
    client.deleteService("a");
    EXPECT_EQ(client.getServices().size(), 1u);
}

TEST_F(RegistryTest, RegistrationTaskRestoresARecordTheRegistryLost)
{
    ServiceRegistrationTask task(client);
    task.registerService(record("me", 30));
    ASSERT_TRUE(client.findService("me"));

    store.remove("me");
    const auto now = Clock::now();
    task.refreshRecords(now + std::chrono::seconds(5));
    EXPECT_FALSE(client.findService("me")) << "refreshed before a third of the ttl had passed";
    task.refreshRecords(now + std::chrono::seconds(10));
    EXPECT_TRUE(client.findService("me"));

    task.deleteService(record("me", 30));
    EXPECT_FALSE(client.findService("me"));
    task.refreshRecords(now + std::chrono::seconds(60));
    EXPECT_FALSE(client.findService("me")) << "a deleted record came back";
}

TEST_F(RegistryTest, RegistrationRetriesAfterTheRegistryWasDown)
{
    ServiceRegistryClient later("127.0.0.1", 1);
    ServiceRegistrationTask task(later);
    task.registerService(record("me", 30));
    later.setAddress("127.0.0.1", service->port());
    task.refreshRecords(Clock::now());
    EXPECT_TRUE(client.findService("me"));
}

TEST_F(RegistryTest, MalformedRecordIsRefused)
{
    const auto reply = pemo::test::request(service->port(), "POST", "/registry", "", "{\"name\": 5}");
    EXPECT_EQ(reply.status, 400);
    EXPECT_TRUE(client.getServices().empty());
}
