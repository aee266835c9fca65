#include "ScratchDir.h"

#include "common/SystemUtil.h"
#include "storage/StorageManager.h"
#include "storage/StorageManagerException.h"

#include <Poco/File.h>
#include <Poco/Util/MapConfiguration.h>

#include <gtest/gtest.h>

#include <cstring>
#include <sys/statvfs.h>
#include <unistd.h>

using pemo::system::StorageManager;
using pemo::system::StorageManagerException;
using pemo::system::test::ScratchDir;

namespace {

class StorageManagerTest : public ::testing::Test
{
protected:
    StorageManager manager()
    {
        config->setString("mount_entries_file", dir.file("mounts"));
        return StorageManager(config);
    }

    // What du reports, in bytes, for path: the reference the semantic view
    // must agree with.
    static std::uint64_t du(const std::string& path)
    {
        const auto result = pemo::system::runProgram("du", {"-s", "-B1", path});
        return std::stoull(result.output);
    }

    ScratchDir dir;
    Poco::AutoPtr<Poco::Util::MapConfiguration> config{new Poco::Util::MapConfiguration};
};

} // namespace

TEST_F(StorageManagerTest, MountsAreListedInTableOrderWithStatvfsSizesSkippingThoseThatCannotBeExamined)
{
    dir.write("mounts", "rootfs / ext4 rw,relatime 1 2\n"
                        "gone /no/such/mount/point tmpfs rw 0 0\n"
                        "scratch " + dir.path() + " tmpfs rw,nosuid 0 0\n");
    const auto mounts = manager().getMounts();

    ASSERT_EQ(2u, mounts.size());
    EXPECT_EQ("rootfs", mounts[0].name);
    EXPECT_EQ("ext4", mounts[0].type);
    EXPECT_EQ("rw,relatime", mounts[0].opts);
    EXPECT_EQ(1, mounts[0].freq);
    EXPECT_EQ(2, mounts[0].passno);
    EXPECT_EQ(dir.path(), mounts[1].path);
    struct statvfs fs;
    ASSERT_EQ(0, ::statvfs("/", &fs));
    const std::uint64_t unit = fs.f_frsize ? fs.f_frsize : fs.f_bsize;
    EXPECT_EQ(unit * fs.f_blocks, mounts[0].size);
    EXPECT_EQ(unit * (fs.f_blocks - fs.f_bfree), mounts[0].used);
}

TEST_F(StorageManagerTest, AMissingMountTableIsAnError)
{
    try
    {
        manager().getMounts();
        ADD_FAILURE() << "no exception";
    }
    catch (const StorageManagerException& e)
    {
        EXPECT_EQ(std::string("Error opening entries file (2): ") + std::strerror(ENOENT), e.what());
    }
}

TEST_F(StorageManagerTest, SemanticUsageCountsAllocatedBlocksLikeDuAndAreasComeInNameOrder)
{
    Poco::File(dir.file("tree/a/b")).createDirectories();
    dir.write("tree/ten", "0123456789");
    dir.write("tree/a/big", std::string(100000, 'x'));
    dir.write("tree/a/b/empty", "");
    config->setString("semantic.zlogs", dir.file("tree"));
    config->setString("semantic.missing", dir.file("nothing-here"));
    config->setString("semantic.file", dir.file("tree/ten"));

    const auto usage = manager().getSemanticStorage();

    ASSERT_EQ(3u, usage.size());
    EXPECT_EQ("file", usage[0].type);
    EXPECT_EQ(du(dir.file("tree/ten")), usage[0].size);
    EXPECT_EQ("missing", usage[1].type);
    EXPECT_EQ(0u, usage[1].size);
    EXPECT_EQ("zlogs", usage[2].type);
    EXPECT_EQ(dir.file("tree"), usage[2].path);
    EXPECT_EQ(du(dir.file("tree")), usage[2].size);
}

// du counts a hard-linked file once and this view once per link; neither
// follows a symbolic link, here one to a far larger tree.
TEST_F(StorageManagerTest, HardLinksCountPerLinkAndSymbolicLinksAreNotFollowed)
{
    Poco::File(dir.file("tree")).createDirectories();
    Poco::File(dir.file("elsewhere")).createDirectories();
    dir.write("elsewhere/huge", std::string(1 << 20, 'x'));
    dir.write("tree/data", std::string(40000, 'x'));
    const std::uint64_t before = du(dir.file("tree"));
    ASSERT_EQ(0, ::link(dir.file("tree/data").c_str(), dir.file("tree/again").c_str()));
    ASSERT_EQ(0, ::symlink(dir.file("elsewhere").c_str(), dir.file("tree/away").c_str()));
    const std::uint64_t linkSize = du(dir.file("tree")) - before;
    config->setString("semantic.tree", dir.file("tree"));

    const auto usage = manager().getSemanticStorage();

    ASSERT_EQ(1u, usage.size());
    EXPECT_EQ(before + linkSize + du(dir.file("tree/data")), usage[0].size);
}
