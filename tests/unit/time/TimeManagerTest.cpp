#include "ScratchDir.h"

#include "time/TimeManager.h"
#include "time/TimeManagerException.h"

#include <Poco/File.h>
#include <Poco/Util/MapConfiguration.h>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <future>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

using pemo::system::TimeManager;
using pemo::system::TimeManagerException;
using pemo::system::test::ScratchDir;

namespace {

class TimeManagerTest : public ::testing::Test
{
protected:
    TimeManagerTest()
    {
        // Each program records its name and arguments, then exits with the
        // status in its file named after it and its first argument.
        for (const std::string name : {"ntpd", "ntpdate", "hwclock"})
            dir.script(name, "echo \"" + name + " $*\" >> " + dir.file("calls") + "\nexit $(cat " +
                                 dir.file(name) + "-\"$1\" 2>/dev/null || echo 0)");
        Poco::File(dir.file("zoneinfo/Europe")).createDirectories();
        dir.write("zoneinfo/Europe/Paris", "TZif");
        config->setString("timezone_path", dir.file("timezone"));
        config->setString("localtime_path", dir.file("localtime"));
        config->setString("zoneinfo_path", dir.file("zoneinfo"));
        config->setString("ntpd_init", dir.file("ntpd"));
        config->setString("ntpdate.command", dir.file("ntpdate"));
        config->setString("ntpdate.arguments[0]", "-b");
        config->setString("ntpdate.arguments[2]", "never-read");
        config->setString("hwclock.command", dir.file("hwclock"));
        config->setString("hwclock.arguments[0]", "--systohc");
    }

    // The message of the TimeManagerException that action throws; empty
    // when it throws none.
    template <class Action> static std::string error(Action action)
    {
        try
        {
            action();
        }
        catch (const TimeManagerException& e)
        {
            return e.what();
        }
        return "";
    }

    ScratchDir dir;
    Poco::AutoPtr<Poco::Util::MapConfiguration> config{new Poco::Util::MapConfiguration};
};

} // namespace

TEST_F(TimeManagerTest, SynchronisationRunsEachProgramInTurnAndStopsAtTheFirstFailure)
{
    const std::string all = "ntpd stop\nntpdate -b\nhwclock --systohc\nntpd start\n";
    struct Case
    {
        std::string failing; // the status file that makes one program fail
        std::string error;
        std::string calls;
    };
    for (const Case& c : std::vector<Case>{
             {"", "", all},
             {"ntpd-stop", "Failed to stop NTP daemon", "ntpd stop\n"},
             // The daemon stays stopped: "start" never runs.
             {"ntpdate--b", "Failed to get NTP date", "ntpd stop\nntpdate -b\n"},
             {"hwclock---systohc", "Failed to set hardware clock", "ntpd stop\nntpdate -b\nhwclock --systohc\n"},
             {"ntpd-start", "Failed to start NTP daemon", all}})
    {
        Poco::File(dir.file("calls")).createFile();
        Poco::File(dir.file("calls")).setSize(0);
        if (!c.failing.empty())
            dir.write(c.failing, "3");
        EXPECT_EQ(c.error, error([&] { TimeManager(config).synchronize(); })) << c.failing;
        EXPECT_EQ(c.calls, dir.read("calls")) << c.failing;
        if (!c.failing.empty())
            Poco::File(dir.file(c.failing)).remove();
    }
}

TEST_F(TimeManagerTest, ZoneIsALinkIntoTheZoneTreeAndANamedFileAndUnknownZonesChangeNothing)
{
    TimeManager manager(config);
    EXPECT_EQ("Etc/UTC", manager.getTimezone());
    // A link left dangling (its zone gone) is replaced, not refused.
    ASSERT_EQ(0, ::symlink(dir.file("zoneinfo/Gone").c_str(), dir.file("localtime").c_str()));

    manager.setTimezone("Europe/Paris");
    EXPECT_EQ(dir.file("zoneinfo/Europe/Paris"), dir.linkTarget("localtime"));
    EXPECT_EQ("Europe/Paris", dir.read("timezone"));
    EXPECT_EQ("Europe/Paris", manager.getTimezone());

    for (const std::string zone : {"Mars/Olympus", "Europe", "../zoneinfo/Europe/Paris", ""})
    {
        EXPECT_EQ("Unknown Time Zone: " + zone, error([&] { manager.setTimezone(zone); }));
        EXPECT_EQ(dir.file("zoneinfo/Europe/Paris"), dir.linkTarget("localtime")) << zone;
        EXPECT_EQ("Europe/Paris", manager.getTimezone()) << zone;
    }
}

// The init script's "start" leaves the NTP daemon running. It inherited the
// pipe the steps were read through, so the synchronisation, and every time
// request behind its lock, waited as long as the daemon lived.
TEST_F(TimeManagerTest, NtpDaemonLeftRunningByStartDoesNotHoldTheSynchronisation)
{
    dir.script("ntpd", "[ \"$1\" = start ] && { sleep 60 & echo $! > " + dir.file("daemon") + "; }\nexit 0");
    TimeManager manager(config);
    auto synchronised = std::async(std::launch::async, [&] { manager.synchronize(); });
    const bool done = synchronised.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    const std::string daemon = dir.read("daemon");
    if (!daemon.empty())
        ::kill(std::stoi(daemon), SIGKILL);
    EXPECT_TRUE(done);
    synchronised.get();
}

// Unlinking localtime before linking it anew, and truncating the timezone
// file in place, left a crash in between no link, or an empty file (the zone
// ""). A change killed at any moment now leaves the old zone or the new one.
TEST_F(TimeManagerTest, ZoneChangeKilledMidWayLeavesNeitherLinkNorFileTorn)
{
    dir.write("zoneinfo/Europe/Rome", "TZif");
    TimeManager manager(config);
    manager.setTimezone("Europe/Paris");
    const std::vector<std::string> zones{"Europe/Paris", "Europe/Rome"};
    for (int round = 0; round < 40; ++round)
    {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0)
        {
            try
            {
                for (int i = 0;; ++i)
                    manager.setTimezone(zones[i % 2]);
            }
            catch (...)
            {
            }
            ::_exit(1);
        }
        ::usleep(static_cast<useconds_t>(200 + round * 97));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);

        const std::string zone = manager.getTimezone();
        const std::string link = dir.linkTarget("localtime");
        EXPECT_TRUE(zone == zones[0] || zone == zones[1]) << "round " << round << ": \"" << zone << "\"";
        EXPECT_EQ(0u, link.find(dir.file("zoneinfo/Europe/"))) << "round " << round << ": \"" << link << "\"";
    }
    // What a killed change left beside them does not stand in the next one's way.
    EXPECT_NO_THROW(manager.setTimezone("Europe/Rome"));
}
