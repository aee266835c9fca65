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

TEST_F(SkillCatalogueTest, AbsentOrEmptySearchDirectoriesGiveNoSkills)
{
    auto skills = manager();
    EXPECT_TRUE(list(*skills).empty());
    Poco::File(dir.file("a")).createDirectories();
    EXPECT_TRUE(list(*skills).empty());
}

TEST_F(SkillCatalogueTest, OnlyDirectoriesWithAPackageFileAreSkills)
{
    skill("a/hello", R"({"name":"hello","version":"1.2.3","pemo":{"main":"main.js"}})");
    Poco::File(dir.file("a/no-package")).createDirectories();
    dir.write("a/loose-file", "{}");
    Poco::File(dir.file("a/package-is-dir/package.json")).createDirectories();
    skill("a/broken", "{ not json");

    const auto skills = list(*manager());
    ASSERT_EQ(1u, skills.size());
    EXPECT_EQ("hello", skills[0].name);
    EXPECT_EQ(dir.file("a/hello"), skills[0].path);
    EXPECT_EQ("1.2.3", skills[0].version);
    EXPECT_FALSE(skills[0].running);
    EXPECT_EQ(Skill::Clock::time_point(), skills[0].lastStartTime);
}

TEST_F(SkillCatalogueTest, MissingPackageFieldsTakeTheirDefaults)
{
    skill("a/anonymous", R"({"version":"2"})");
    skill("a/unversioned", R"({"name":"unversioned"})");

    const auto skills = list(*manager());
    ASSERT_EQ(2u, skills.size());
    EXPECT_EQ("INVALID SKILL", skills[0].name);
    EXPECT_EQ("2", skills[0].version);
    EXPECT_EQ("unversioned", skills[1].name);
    EXPECT_EQ("INVALID SKILL", skills[1].version);
}

TEST_F(SkillCatalogueTest, LaterSearchDirectoryWinsANameClash)
{
    skill("a/one", R"({"name":"same","version":"from-a"})");
    skill("b/two", R"({"name":"same","version":"from-b"})");
    skill("a/dev/three", R"({"name":"same","version":"from-dev"})");

    auto skills = manager();
    auto listed = list(*skills);
    ASSERT_EQ(1u, listed.size());
    EXPECT_EQ("from-dev", listed[0].version);
    EXPECT_EQ(dir.file("a/dev/three"), listed[0].path);

    Poco::File(dir.file("a/dev/three")).remove(true);
    listed = list(*skills);
    ASSERT_EQ(1u, listed.size());
    EXPECT_EQ(dir.file("b/two"), listed[0].path);
}

TEST_F(SkillCatalogueTest, ASearchDirectoryInsideAnotherIsNotASkill)
{
    // Were "dev" taken for a skill, its package.json would name it.
    Poco::File(dir.file("a/dev")).createDirectories();
    dir.write("a/dev/package.json", R"({"name":"dev-as-skill"})");
    skill("a/dev/tool", R"({"name":"tool"})");

    EXPECT_EQ(std::vector<std::string>{"tool@" + dir.file("a/dev/tool")}, names(list(*manager())));
}

TEST_F(SkillCatalogueTest, ListsInByteOrderAndForgetsDeletedSkills)
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
}

TEST_F(SkillCatalogueTest, UnknownOrIdleSkillsCannotBeLaunchedOrTerminated)
{
    skill("a/idle", R"({"name":"idle"})");
    auto skills = manager();
    skills->refresh();

    try
    {
        skills->terminate("idle");
        ADD_FAILURE() << "terminated an idle skill";
    }
    catch (const SkillManagerException& e)
    {
        EXPECT_STREQ("Skill is not running: idle", e.what());
    }
    try
    {
        skills->launch({"nobody", "ctx"});
        ADD_FAILURE() << "launched an unknown skill";
    }
    catch (const SkillManagerException& e)
    {
        EXPECT_STREQ("Unknown skill: nobody", e.what());
    }
    // Without a session manager there is no session to launch under.
    EXPECT_FALSE(skills->launch({"idle", "ctx"}));
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
