#include "ScratchDir.h"

#include "skill/SkillImpl.h"
#include "skill/SkillManager.h"
#include "skill/SkillManagerException.h"

#include <pemo/ServiceRegistryClient.h>
#include <pemo/SystemNotificationClient.h>

#include <Poco/AutoPtr.h>
#include <Poco/Exception.h>
#include <Poco/File.h>
#include <Poco/Net/SocketReactor.h>
#include <Poco/Util/MapConfiguration.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using pemo::system::Skill;
using pemo::system::SkillManager;
using pemo::system::SkillManagerException;
using pemo::system::test::ScratchDir;

namespace {

class SkillCatalogueTest : public ::testing::Test
{
protected:
    SkillCatalogueTest() : snc(registry, reactor) {}

    // Search directories: installed "a" and "b", then development "dev",
    // which lies inside "a".
    std::unique_ptr<SkillManager> manager()
    {
        Poco::AutoPtr<Poco::Util::MapConfiguration> config(new Poco::Util::MapConfiguration);
        config->setString("executable", "/usr/bin/runtime");
        config->setString("arguments[0]", "--fixed");
        config->setString("environment.LANG", "C");
        config->setString("path.pemo[0]", dir.file("a"));
        config->setString("path.pemo[1]", dir.file("b") + "/");
        config->setString("path.pemo[3]", dir.file("never-read"));
        config->setString("path.devs[0]", dir.file("a/dev"));
        config->setString("modes.normal.user", "pemo");
        return std::make_unique<SkillManager>(config, nullptr, registry, snc);
    }

    void skill(const std::string& directory, const std::string& package)
    {
        Poco::File(dir.file(directory)).createDirectories();
        dir.write(directory + "/package.json", package);
    }

    std::vector<Skill> list(SkillManager& skills)
    {
        std::vector<Skill> out;
        skills.list(out);
        return out;
    }

    static std::vector<std::string> names(const std::vector<Skill>& skills)
    {
        std::vector<std::string> out;
        for (const auto& skill : skills)
            out.push_back(skill.name + "@" + skill.path);
        return out;
    }

    ScratchDir dir;
    pemo::ServiceRegistryClient registry;
    Poco::Net::SocketReactor reactor;
    pemo::SystemNotificationClient snc;
};

} // namespace

TEST_F(SkillCatalogueTest, OnlyDirectoriesWithAPackageFileAreSkillsAndMissingFieldsTakeDefaults)
{
    auto skills = manager();
    EXPECT_TRUE(list(*skills).empty()) << "no search directory exists";
    skill("a/hello", R"({"name":"hello","version":"1.2.3","pemo":{"main":"main.js"}})");
    skill("a/anonymous", R"({"version":"2"})");
    skill("a/unversioned", R"({"name":"unversioned"})");
    Poco::File(dir.file("a/no-package")).createDirectories();
    dir.write("a/loose-file", "{}");
    Poco::File(dir.file("a/package-is-dir/package.json")).createDirectories();
    skill("a/broken", "{ not json");

    const auto listed = list(*skills);
    EXPECT_EQ((std::vector<std::string>{"INVALID SKILL@" + dir.file("a/anonymous"), "hello@" + dir.file("a/hello"),
                                        "unversioned@" + dir.file("a/unversioned")}),
              names(listed));
    ASSERT_EQ(3u, listed.size());
    EXPECT_EQ("2", listed[0].version);
    EXPECT_EQ("1.2.3", listed[1].version);
    EXPECT_FALSE(listed[1].running);
    EXPECT_EQ(Skill::Clock::time_point(), listed[1].lastStartTime);
    EXPECT_EQ("INVALID SKILL", listed[2].version);
}

// "dev" lies inside "a": it is searched after "b" and is no skill itself,
// though its package.json names one.
TEST_F(SkillCatalogueTest, LaterSearchDirectoryWinsANameClashAndNoneIsASkill)
{
    skill("a/one", R"({"name":"same","version":"from-a"})");
    skill("b/two", R"({"name":"same","version":"from-b"})");
    skill("a/dev/three", R"({"name":"same","version":"from-dev"})");
    dir.write("a/dev/package.json", R"({"name":"dev-as-skill"})");

    auto skills = manager();
    EXPECT_EQ(std::vector<std::string>{"same@" + dir.file("a/dev/three")}, names(list(*skills)));
    Poco::File(dir.file("a/dev/three")).remove(true);
    EXPECT_EQ(std::vector<std::string>{"same@" + dir.file("b/two")}, names(list(*skills)));
}

// The reasons given for unknown and idle skills are pinned on the device.
TEST_F(SkillCatalogueTest, ListsInByteOrderForgetsDeletedSkillsAndLaunchesNoneWithoutASessionManager)
{
    for (const std::string name : {"b", "ab", "a", "B", "a b"})
        skill("b/" + name, R"({"name":")" + name + R"("})");

    auto skills = manager();
    std::vector<std::string> order;
    for (const auto& entry : list(*skills))
        order.push_back(entry.name);
    EXPECT_EQ((std::vector<std::string>{"B", "a", "a b", "ab", "b"}), order);

    Poco::File(dir.file("b/ab")).remove(true);
    skills->refresh();
    EXPECT_THROW(skills->launch({"ab", ""}), SkillManagerException);
    EXPECT_EQ(4u, list(*skills).size());
    EXPECT_FALSE(skills->launch({"a", "ctx"}));
    EXPECT_THROW(skills->terminate("a"), SkillManagerException) << "never launched";
}

TEST(SkillImplTest, ProcessOperationsNeedALaunch)
{
    SkillManager::SkillImpl skill({"never", "/tmp", "index.html", "1", {}});
    EXPECT_FALSE(skill.isRunning());
    EXPECT_EQ(-1, skill.pid());
    for (auto operation : {&SkillManager::SkillImpl::terminate, &SkillManager::SkillImpl::kill})
    {
        try
        {
            (skill.*operation)();
            ADD_FAILURE() << "signalled a skill never launched";
        }
        catch (const SkillManagerException& e)
        {
            EXPECT_STREQ("never was never launched", e.what());
        }
    }
    EXPECT_THROW(skill.wait(), SkillManagerException);
}

TEST(SkillManagerParamsTest, ExecutableIsRequired)
{
    Poco::AutoPtr<Poco::Util::MapConfiguration> config(new Poco::Util::MapConfiguration);
    config->setString("path.pemo[0]", "/opt");
    EXPECT_THROW(SkillManager::Params params(*config), Poco::NotFoundException);
    config->setString("executable", "/bin/runtime");
    config->setString("modes.quiet.other", "x");
    const SkillManager::Params params(*config);
    EXPECT_EQ(std::vector<std::string>{"/opt"}, params.path.pemo);
    ASSERT_EQ(1u, params.modes.count("quiet"));
    EXPECT_EQ("", params.modes.at("quiet").user);
}
