#include "FakeHTTP.h"
#include "ScratchDir.h"

#include "identity/CredentialsException.h"
#include "identity/CredentialsHandler.h"
#include "identity/CredentialsManager.h"

#include <pemo/ServiceRegistryClient.h>
#include <pemo/SystemNotificationClient.h>

#include <Poco/File.h>
#include <Poco/Net/SocketReactor.h>
#include <Poco/Util/MapConfiguration.h>

#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

using namespace pemo::system;

namespace {

class CredentialsManagerTest : public ::testing::Test
{
protected:
    CredentialsManagerTest() : snc(registry, reactor)
    {
        config->setString("path", dir.file("credentials.json"));
        manager = std::make_shared<CredentialsManager>(config, snc);
    }

    test::HandlerAnswer request(const std::string& body = "")
    {
        CredentialsHandler handler(manager);
        return test::call(handler, body.empty() ? "GET" : "POST", body);
    }

    test::ScratchDir dir;
    pemo::ServiceRegistryClient registry;
    Poco::Net::SocketReactor reactor;
    pemo::SystemNotificationClient snc;
    Poco::AutoPtr<Poco::Util::MapConfiguration> config{new Poco::Util::MapConfiguration};
    std::shared_ptr<CredentialsManager> manager;
};

} // namespace

// Nothing refused (incomplete, unsaveable) touches the stored file.
TEST_F(CredentialsManagerTest, RefusedOrFailedStoresKeepTheFileAndUnreadableOnesAreReported)
{
    EXPECT_EQ("Error getting credentials: No credentials", request().reason);
    EXPECT_EQ(204, request(R"({"accessKeyId":"k","secretAccessKey":"s","region":"eu"})").status);
    const std::string stored = dir.read("credentials.json");
    EXPECT_EQ("400 Malformed arguments\n", request(R"({"accessKeyId":"k2","secretAccessKey":"s2"})").text());
    // Where the new file would be written stands a directory.
    Poco::File(dir.file("credentials.json.new")).createDirectories();
    EXPECT_THROW(manager->setCredentials({"k2", "s2", "us"}), CredentialsException);
    EXPECT_EQ(stored, dir.read("credentials.json"));

    dir.write("credentials.json", R"({"accessKeyId":"k","secretAccessKey":"s","region":7})");
    EXPECT_EQ(0u, request().reason.find("Error getting credentials: Could not parse credentials: "));
    // Deep enough to overflow a recursive parser's stack: refused unparsed.
    dir.write("credentials.json", std::string(300000, '['));
    EXPECT_EQ(0u, request().reason.find("Error getting credentials: Could not parse credentials: JSON nested too deep"));
}

// The answer once carried the three members bare, unlike every other result,
// which is one named member of the outer object.
TEST_F(CredentialsManagerTest, UnwrappedBodyGetAnswersTheCredentialsAsTheirNamedMember)
{
    ASSERT_EQ(204, request(R"({"accessKeyId":"k","secretAccessKey":"s","region":"eu"})").status);
    EXPECT_EQ("200 OK\n{\n    \"credentials\": {\n        \"accessKeyId\": \"k\",\n        \"secretAccessKey\": "
              "\"s\",\n        \"region\": \"eu\"\n    }\n}",
              request().text());
}

// A writer killed at any moment leaves the old credentials or the new ones,
// whole: never an empty, truncated or mixed file.
TEST_F(CredentialsManagerTest, AWriterKilledMidWayLeavesTheOldOrTheNewFileWhole)
{
    // Large enough that a write takes a while, so kills land inside it.
    const pemo::Credentials first{"first", std::string(256 * 1024, 'a'), "eu"};
    const pemo::Credentials second{"second", std::string(300 * 1024, 'b'), "us"};
    manager->setCredentials(first);
    for (int round = 0; round < 40; ++round)
    {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0)
        {
            for (int i = 0;; ++i)
                manager->setCredentials(i % 2 ? first : second);
        }
        ::usleep(static_cast<useconds_t>(200 + round * 97));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);

        pemo::Credentials found;
        ASSERT_NO_THROW(found = manager->getCredentials()) << "round " << round;
        EXPECT_TRUE(found == first || found == second) << "round " << round;
    }
}
