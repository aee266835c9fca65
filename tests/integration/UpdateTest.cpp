// Over-the-air updates on the simulated device: the update endpoints drive
// the simulator's get, download and apply programs, whose catalogue each
// test writes, and "/opt" is a tmpfs of known size where free space counts.
#include "Http.h"
#include "SharedDevice.h"
#include "SimDevice.h"

#include <Poco/JSON/Object.h>

#include <gtest/gtest.h>

#include <future>

namespace pemo::test {
namespace {

using Calls = std::vector<std::vector<std::string>>;
const std::string UNAVAILABLE = R"({"error":"Service temporarily unavailable"})";

std::string offer(const std::string& id, const std::string& subsystem, const std::string& from, const std::string& to,
                  unsigned length, const std::string& dependencies = "{}")
{
    return R"({"_id": ")" + id + R"(", "subsystem": ")" + subsystem + R"(", "changes": "c", "length": )" +
           std::to_string(length) + R"(, "shaHash": "sha-)" + id + R"(", "url": "https://u/)" + id +
           R"(", "toVersion": ")" + to + R"(", "fromVersion": ")" + from + R"(", "dependencies": )" + dependencies +
           "}";
}

class UpdateTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        SimOptions options;
        options.config = [](Poco::JSON::Object& root) {
            auto manager = root.getObject("SystemManager");
            manager->getObject("service")->set("services", Poco::JSON::Array());
            // The bootloader shares the skill's order: together they cannot be
            // ordered. The services come first unless something they need does.
            const auto subsystems = manager->getObject("update")->getObject("subsystems");
            subsystems->getObject("bootloader")->set("default_order", 3);
            subsystems->getObject("services")->set("default_order", 0);
        };
        device = std::make_unique<SimDevice>(options);
        device->start();
        const ExecResult opt = device->exec(
            {"sh", "-c", "cp -a /opt /tmp/opt && mount -t tmpfs -o size=200m tmpfs /opt && cp -a /tmp/opt/. /opt/"});
        ASSERT_EQ(opt.status, 0) << opt.output;
    }
    static void TearDownTestSuite() { device.reset(); }

    // Each test starts from an empty list: a get with no offers loses every update.
    void SetUp() override
    {
        device->writeStateFile("device/var/pemo/credentials.json", R"({"accessKeyId":"a","secretAccessKey":"s","region":"r"})");
        device->exec({"rm", "-rf", "/run/pemo-sim/platform/updates"});
        device->writeStateFile("platform/updates/none", "");
        ASSERT_TRUE(listed().empty());
        device->exec({"sh", "-c", "rm -rf /run/pemo-sim/platform/updates /run/pemo-sim/platform/*-version "
                                  "/run/pemo-sim/platform/apply-fails && mount -o remount,size=200m /opt"});
        catalogue("os", "1.0.0", {offer("os-2", "os", "1.0.0", "2.0.0", 100000000)});
        catalogue("services", "1.0.0", {offer("svc-2", "services", "1.0.0", "1.1.0", 1000, R"({"os": "2.0.0"})")});
        catalogue("hello", "1.0.0", {offer("hello-2", "hello", "1.0.0", "1.1.0", 1000)});
        catalogue("bootloader", "0.1.0", {offer("boot-2", "bootloader", "0.1.0", "0.2.0", 1000)});
        for (const char* program : {"pemo-get-update", "pemo-download-update", "pemo-apply-update"})
            device->clearCalls(program);
    }

    static void catalogue(const std::string& subsystem, const std::string& version, const std::vector<std::string>& offers)
    {
        std::string array;
        for (const auto& o : offers)
            array += (array.empty() ? "" : ",") + o;
        device->writeStateFile("platform/updates/" + subsystem + "/" + version + ".json", "[" + array + "]");
    }

    static std::vector<std::string> listed(const std::string& path = "/update")
    {
        const HttpResponse r = api().get(path);
        EXPECT_EQ(r.status, 200);
        std::vector<std::string> ids;
        const auto body = parseObject(r.body);
        const auto updates = body->getArray("updates");
        for (std::size_t i = 0; updates && i < updates->size(); ++i)
        {
            const auto update = updates->getObject(static_cast<unsigned>(i));
            ids.push_back(update->getValue<std::string>("id") + (update->getValue<bool>("downloaded") ? "*" : ""));
        }
        return ids;
    }

    static std::string ids(const std::string& list) { return R"({"ids": [)" + list + "]}"; }
    static HttpResponse download(const std::string& list) { return api().put("/update", ids(list)); }
    static HttpResponse apply(const std::string& list) { return api().post("/update", ids(list)); }
    static ApiClient api() { return ApiClient(device->port(), device->token()); }
    static void resize(const std::string& size)
    {
        ASSERT_EQ(device->exec({"mount", "-o", "remount,size=" + size, "/opt"}).status, 0);
    }

    static std::unique_ptr<SimDevice> device;
};
std::unique_ptr<SimDevice> UpdateTest::device;

TEST_F(UpdateTest, AWholeCycleInstallsADependencyFirstAndTheNextGetReflectsIt)
{
    EXPECT_EQ(listed("/update/beta-1.2"), (std::vector<std::string>{"boot-2", "hello-2", "os-2", "svc-2"}));
    EXPECT_EQ(device->calls("pemo-get-update")[0],
              (std::vector<std::string>{"--credentials", "/var/pemo/credentials.json", "--subsystem", "bootloader",
                                        "--version", "0.1.0", "--filter", "beta-1.2"}));
    const HttpResponse nothing = download("");
    EXPECT_EQ(nothing.status, 200);
    EXPECT_EQ(nothing.body, "");
    EXPECT_EQ(download(R"("svc-2", "os-2")").body, "");
    EXPECT_EQ(device->calls("pemo-download-update")[1],
              (std::vector<std::string>{"--id", "os-2", "--url", "https://u/os-2", "--destination",
                                        "/opt/ota/2.0.0-os.tar", "--shasum", "sha-os-2"}));
    // A later get keeps what was downloaded.
    EXPECT_EQ(listed("/update/beta-1.2"), (std::vector<std::string>{"boot-2", "hello-2", "os-2*", "svc-2*"}));

    EXPECT_EQ(apply(R"("svc-2")").body, "{\n    \"error\": \"Dependency os == 2.0.0 not satisfied\"\n}");
    const HttpResponse applied = apply(R"("svc-2", "os-2")");
    EXPECT_EQ(applied.body, "{}");
    const Calls installs = device->calls("pemo-apply-update");
    ASSERT_EQ(installs.size(), 2u);
    EXPECT_EQ(installs[0], (std::vector<std::string>{"--source", "/opt/ota/2.0.0-os.tar", "--subsystem", "os", "--from",
                                                     "1.0.0", "--to", "2.0.0", "--destination", "/dev/null",
                                                     "--filter", "beta-1.2"}));
    EXPECT_EQ(installs[1][3], "services");
    EXPECT_NE(device->readStateFile("calls/pemo-apply-update.env").find("DISPLAY=:0 XAUTHORITY=/tmp/.Xauthority"),
              std::string::npos);
    EXPECT_EQ(listed(), (std::vector<std::string>{"boot-2", "hello-2"}));
    EXPECT_NE(api().get("/version").body.find("Release-2.0.0"), std::string::npos);
}

TEST_F(UpdateTest, RefusalsChangeNothing)
{
    listed();
    EXPECT_EQ(download(R"("nope")").body, R"({"error":"Unknown update requested"})");
    EXPECT_EQ(apply(R"("hello-2")").body, "{\n    \"error\": \"Update not downloaded\"\n}");
    ASSERT_EQ(download(R"("hello-2", "boot-2")").body, "");
    EXPECT_EQ(apply(R"("hello-2", "boot-2")").body, "{\n    \"error\": \"Duplicate update specified\"\n}");

    // No credentials: the list stays as it was, downloads included.
    ::unlink(device->statePath("device/var/pemo/credentials.json").c_str());
    device->clearCalls("pemo-get-update");
    EXPECT_EQ(listed(), (std::vector<std::string>{"boot-2*", "hello-2*", "os-2", "svc-2"}));
    EXPECT_TRUE(device->calls("pemo-get-update").empty());

    // A failing install stops the ones after it, which stay listed.
    device->writeStateFile("device/var/pemo/credentials.json", "{}");
    ASSERT_EQ(download(R"("os-2", "svc-2")").body, "");
    device->writeStateFile("platform/apply-fails/os", "");
    EXPECT_EQ(apply(R"("svc-2", "os-2")").body, "{\n    \"error\": \"Update initiation error\"\n}");
    EXPECT_EQ(device->calls("pemo-apply-update").size(), 1u);
    EXPECT_EQ(listed(), (std::vector<std::string>{"boot-2*", "hello-2*", "os-2*", "svc-2*"}));

    // A malformed dependency list costs only that list, not the offers.
    catalogue("hello", "1.0.0", {offer("hello-2", "hello", "1.0.0", "1.1.0", 1, R"({"os": 2})"),
                                 offer("hello-3", "hello", "1.0.0", "1.2.0", 1, R"("os")")});
    EXPECT_EQ(listed(), (std::vector<std::string>{"boot-2*", "hello-2*", "hello-3", "os-2*", "svc-2*"}));
}

// Downloading 100 MB needs twice that on /opt; applying it needs it once.
TEST_F(UpdateTest, FreeSpaceOnOptDecides)
{
    listed();
    resize("150m");
    EXPECT_EQ(download(R"("os-2")").body, R"({"error":"Insufficient temporary storage available"})");
    resize("200m");
    EXPECT_EQ(download(R"("os-2")").body, "");
    resize("100m");
    EXPECT_EQ(apply(R"("os-2")").body, "{}");
}

// An answer nested 300,000 deep overflowed the parser's stack and killed the
// daemon, and the device with it. Now it is only that subsystem's answer
// that cannot be read, as a list or as an error object.
TEST_F(UpdateTest, DeeplyNestedGetAnswerCostsOnlyItsSubsystemsList)
{
    const std::string deep(300000, '[');
    catalogue("os", "1.0.0", {deep});
    ::unlink(device->statePath("platform/updates/services/1.0.0.json").c_str());
    device->writeStateFile("platform/updates/services/1.0.0.error", R"({"error": )" + deep);
    EXPECT_EQ(listed(), (std::vector<std::string>{"boot-2", "hello-2"}));
    const std::string log = device->readStateFile("log/system-manager.log");
    EXPECT_NE(log.find("Could not read the updates of os: JSON nested too deep"), std::string::npos);
    EXPECT_NE(log.find("Error retrieving services updates: JSON nested too deep"), std::string::npos);
}

// The update service is outside the robot's trust: a toVersion of
// "../../../etc/evil" wrote the download, as root, to /etc/evil-os.tar.
TEST_F(UpdateTest, OfferWhoseDownloadWouldEscapeTheDownloadDirectoryIsDropped)
{
    catalogue("os", "1.0.0", {offer("evil", "os", "1.0.0", "../../../etc/evil", 1000),
                              offer("slash", "os", "1.0.0", "2/0", 1000), offer("empty", "os", "1.0.0", "", 1000),
                              offer("sub", "..", "1.0.0", "2.0.0", 1000), offer("os-2", "os", "1.0.0", "2.0.0", 1000)});
    EXPECT_EQ(listed(), (std::vector<std::string>{"boot-2", "hello-2", "os-2", "svc-2"}));
    EXPECT_EQ(download(R"("evil")").body, R"({"error":"Unknown update requested"})");
    EXPECT_TRUE(device->calls("pemo-download-update").empty());
    EXPECT_NE(device->exec({"test", "-e", "/etc/evil-os.tar"}).status, 0);
    const std::string log = device->readStateFile("log/system-manager.log");
    for (const char* id : {"evil", "slash", "empty", "sub"})
        EXPECT_NE(log.find(std::string("Dropping update ") + id + " of os"), std::string::npos) << id;
}

// Duplicates were looked up in a tree built with an order that is none: with
// services (order 0) needing hello, hello and the bootloader (both order 3)
// went unnoticed when services was requested first, and both were installed.
TEST_F(UpdateTest, DuplicateHiddenByTheOrderingTreeIsFound)
{
    catalogue("services", "1.0.0", {offer("svc-3", "services", "1.0.0", "1.2.0", 1000, R"({"hello": "1.1.0"})")});
    listed();
    ASSERT_EQ(download(R"("svc-3", "hello-2", "boot-2")").body, "");
    EXPECT_EQ(apply(R"("svc-3", "hello-2", "boot-2")").body, "{\n    \"error\": \"Duplicate update specified\"\n}");
    EXPECT_TRUE(device->calls("pemo-apply-update").empty());
}

// A failing version program once cost its subsystem's updates, downloads
// included ("Lost update"): now the get fails and the list stays.
TEST_F(UpdateTest, FailingVersionProgramFailsTheGetInsteadOfLosingDownloads)
{
    listed();
    ASSERT_EQ(download(R"("os-2")").body, "");
    // cat of a directory fails: the version program exits 1.
    ASSERT_EQ(device->exec({"mkdir", "/run/pemo-sim/platform/os-version"}).status, 0);
    EXPECT_EQ(api().get("/update").body, "{\n    \"error\": \"Could not read OS version\"\n}");
    ASSERT_EQ(device->exec({"rmdir", "/run/pemo-sim/platform/os-version"}).status, 0);
    EXPECT_EQ(listed(), (std::vector<std::string>{"boot-2", "hello-2", "os-2*", "svc-2"}));
}

// A step that cannot have the manager within 200 ms is refused, not queued.
TEST_F(UpdateTest, StepsWhileADownloadRunsAreRefused)
{
    listed();
    device->writeStateFile("platform/download-hold", "");
    auto running = std::async(std::launch::async, [] { return download(R"("hello-2")"); });
    ASSERT_TRUE(eventually([] { return !device->calls("pemo-download-update").empty(); }));

    EXPECT_EQ(api().get("/update").body, "{\n    \"error\": \"Service temporarily unavailable\"\n}");
    EXPECT_EQ(apply(R"("hello-2")").body, "{\n    \"error\": \"Service temporarily unavailable\"\n}");
    EXPECT_EQ(download(R"("hello-2")").body, UNAVAILABLE);

    ::unlink(device->statePath("platform/download-hold").c_str());
    EXPECT_EQ(running.get().body, "");
    EXPECT_EQ(listed(), (std::vector<std::string>{"boot-2", "hello-2*", "os-2", "svc-2"}));
}

} // namespace
} // namespace pemo::test
