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

#include <vector>

using pemo::system::StorageManager;
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

    // What du reports in bytes: the reference the semantic view must meet.
    static std::uint64_t du(const std::string& path)
    {
        return std::stoull(pemo::system::runProgram("du", {"-s", "-B1", path}).output);
    }

    ScratchDir dir;
    Poco::AutoPtr<Poco::Util::MapConfiguration> config{new Poco::Util::MapConfiguration};
};

} // namespace

TEST_F(StorageManagerTest, MountsInTableOrderWithStatvfsSizesLeavingOutThoseThatCannotBeExaminedOrAMissingTable)
{
    try
    {
        manager().getMounts();
        ADD_FAILURE() << "a missing table was read";
    }
    catch (const pemo::system::StorageManagerException& e)
    {
        EXPECT_EQ(std::string("Error opening entries file (2): ") + std::strerror(ENOENT), e.what());
    }

    dir.write("mounts", "rootfs / ext4 rw,relatime 1 2\ngone /no/such/point tmpfs rw 0 0\nx " + dir.path() +
                            " tmpfs rw 0 0\n");
    // Other tests write to the root file system meanwhile: the answer is
    // compared with a statvfs that did not change around it.
    const auto used = [](const struct statvfs& fs) { return fs.f_blocks - fs.f_bfree; };
    struct statvfs before, after;
    std::vector<StorageManager::Mount> mounts;
    for (int attempt = 0; attempt < 20; ++attempt)
    {
        ASSERT_EQ(0, ::statvfs("/", &before));
        mounts = manager().getMounts();
        ASSERT_EQ(0, ::statvfs("/", &after));
        if (used(before) == used(after))
            break;
    }
    ASSERT_EQ(used(before), used(after)) << "the root file system never kept still";
    ASSERT_EQ(2u, mounts.size());
    const auto& root = mounts[0];
    EXPECT_EQ("rootfs / ext4 rw,relatime 1 2", root.name + " " + root.path + " " + root.type + " " + root.opts + " " +
                                                   std::to_string(root.freq) + " " + std::to_string(root.passno));
    EXPECT_EQ(dir.path(), mounts[1].path);
    const std::uint64_t unit = after.f_frsize ? after.f_frsize : after.f_bsize;
    EXPECT_EQ(unit * after.f_blocks, root.size);
    EXPECT_EQ(unit * used(after), root.used);
}

// Allocated blocks as du counts them, but a hard-linked file once per link
// (du: once) and a symbolic link, here to a far larger tree, not followed.
TEST_F(StorageManagerTest, AreasInNameOrderMeasuredLikeDuExceptHardLinksCountedPerLink)
{
    Poco::File(dir.file("tree/a/b")).createDirectories();
    Poco::File(dir.file("elsewhere")).createDirectories();
    dir.write("elsewhere/huge", std::string(1 << 20, 'x'));
    dir.write("tree/ten", "0123456789");
    dir.write("tree/a/big", std::string(100000, 'x'));
    dir.write("tree/a/b/empty", "");
    config->setString("semantic.zlogs", dir.file("tree"));
    config->setString("semantic.missing", dir.file("nothing-here"));
    config->setString("semantic.file", dir.file("tree/ten"));

    auto usage = manager().getSemanticStorage();
    ASSERT_EQ(3u, usage.size());
    EXPECT_EQ("file missing zlogs", usage[0].type + " " + usage[1].type + " " + usage[2].type);
    EXPECT_EQ(du(dir.file("tree/ten")), usage[0].size);
    EXPECT_EQ(0u, usage[1].size);
    EXPECT_EQ(dir.file("tree"), usage[2].path);
    EXPECT_EQ(du(dir.file("tree")), usage[2].size);

    ASSERT_EQ(0, ::link(dir.file("tree/a/big").c_str(), dir.file("tree/again").c_str()));
    ASSERT_EQ(0, ::symlink(dir.file("elsewhere").c_str(), dir.file("tree/away").c_str()));
    usage = manager().getSemanticStorage();
    EXPECT_EQ(du(dir.file("tree")) + du(dir.file("tree/a/big")), usage[2].size);
}
