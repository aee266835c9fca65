#include "ScratchDir.h"

#include "service/Archive.h"

#include <Poco/Exception.h>
#include <Poco/File.h>

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <memory>

namespace pemo {
namespace system {
namespace {

using test::ScratchDir;

struct Listed
{
    std::map<std::string, std::string> entries; // path name to symlink target or "" for others
    int format = 0;
    int filter = 0;
};

Listed list(const std::string& file)
{
    std::unique_ptr<struct archive, int (*)(struct archive*)> tar(archive_read_new(), archive_read_free);
    archive_read_support_format_all(tar.get());
    archive_read_support_filter_all(tar.get());
    EXPECT_EQ(archive_read_open_filename(tar.get(), file.c_str(), 10240), ARCHIVE_OK);
    Listed listed;
    struct archive_entry* entry = nullptr;
    while (archive_read_next_header(tar.get(), &entry) == ARCHIVE_OK)
    {
        const char* target = archive_entry_symlink(entry);
        listed.entries[archive_entry_pathname(entry)] = target ? target : "";
    }
    listed.format = archive_format(tar.get());
    listed.filter = archive_filter_code(tar.get(), 0);
    return listed;
}

// An archive as an attacker could hand it over: entries given in order,
// each a regular file unless it has a link target.
struct Crafted
{
    std::string path;
    std::string content;
    std::string symlink;
};

void craft(const std::string& file, const std::vector<Crafted>& entries)
{
    std::unique_ptr<struct archive, int (*)(struct archive*)> tar(archive_write_new(), archive_write_free);
    archive_write_set_format_ustar(tar.get());
    ASSERT_EQ(archive_write_open_filename(tar.get(), file.c_str()), ARCHIVE_OK);
    for (const auto& crafted : entries)
    {
        std::unique_ptr<struct archive_entry, void (*)(struct archive_entry*)> entry(archive_entry_new(),
                                                                                       archive_entry_free);
        archive_entry_set_pathname(entry.get(), crafted.path.c_str());
        archive_entry_set_perm(entry.get(), 0644);
        if (crafted.symlink.empty())
        {
            archive_entry_set_filetype(entry.get(), AE_IFREG);
            archive_entry_set_size(entry.get(), static_cast<la_int64_t>(crafted.content.size()));
        }
        else
        {
            archive_entry_set_filetype(entry.get(), AE_IFLNK);
            archive_entry_set_symlink(entry.get(), crafted.symlink.c_str());
        }
        ASSERT_EQ(archive_write_header(tar.get(), entry.get()), ARCHIVE_OK) << crafted.path;
        archive_write_data(tar.get(), crafted.content.data(), crafted.content.size());
    }
    archive_write_close(tar.get());
}

unsigned modeOf(const std::string& path)
{
    struct stat info{};
    EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
    return info.st_mode & 07777;
}

bool exists(const std::string& path)
{
    struct stat info{};
    return ::lstat(path.c_str(), &info) == 0;
}

class ArchiveTest : public ::testing::Test
{
protected:
    ArchiveTest()
    {
        Poco::File(_tree.file("staging")).createDirectories();
    }

    std::string staging(const std::string& relative = "") const
    {
        return _tree.file("staging") + (relative.empty() ? "" : "/" + relative);
    }

    ScratchDir _tree;
};

TEST_F(ArchiveTest, ATreeComesBackWithItsContentModesAndLinksUnderRelativeNames)
{
    ScratchDir source;
    Poco::File(source.file("svc/nested/deeper")).createDirectories();
    Poco::File(source.file("empty")).createDirectories();
    const std::string data = std::string("\0\1binary\n", 9) + std::string(100000, 'x');
    source.write("svc/nested/deeper/data.bin", data);
    ::chmod(source.write("svc/secret", "key").c_str(), 0600);
    ::chmod(source.script("svc/run", "exit 0").c_str(), 0750);
    source.write("svc/empty-file", "");
    ASSERT_EQ(::symlink("nested/deeper/data.bin", source.file("svc/inside").c_str()), 0);
    ASSERT_EQ(::symlink("/etc/hostname", source.file("svc/outside").c_str()), 0);
    const std::string file = _tree.file("backup.tar.bz2");

    Archive::pack(source.path() + "/", file);

    const Listed listed = list(file);
    EXPECT_EQ(listed.format, ARCHIVE_FORMAT_TAR_USTAR);
    EXPECT_EQ(listed.filter, ARCHIVE_FILTER_BZIP2);
    for (const auto& entry : listed.entries)
        EXPECT_TRUE(entry.first.rfind("svc", 0) == 0 || entry.first.rfind("empty", 0) == 0) << entry.first;
    EXPECT_EQ(listed.entries.count("svc/nested/deeper/data.bin"), 1u);
    EXPECT_EQ(listed.entries.at("svc/outside"), "/etc/hostname") << "links are stored, not followed";

    Archive::unpack(file, staging());
    EXPECT_EQ(_tree.read("staging/svc/nested/deeper/data.bin"), data);
    EXPECT_EQ(modeOf(staging("svc/secret")), 0600u);
    EXPECT_EQ(modeOf(staging("svc/run")), 0750u);
    EXPECT_TRUE(exists(staging("svc/empty-file")));
    EXPECT_TRUE(Poco::File(staging("empty")).isDirectory());
    EXPECT_EQ(_tree.linkTarget("staging/svc/inside"), "nested/deeper/data.bin");
    EXPECT_EQ(_tree.linkTarget("staging/svc/outside"), "/etc/hostname");
}

// Absolute names land inside; a name that climbs out, or a path through a
// link the archive itself planted, stops the extraction there.
TEST_F(ArchiveTest, NothingIsWrittenOutsideTheStagingDirectory)
{
    const std::string climbing = _tree.file("climbing.tar");
    craft(climbing, {{"/absolute.txt", "a", ""}, {"../escaped.txt", "b", ""}, {"after.txt", "c", ""}});
    Poco::File(_tree.file("elsewhere")).createDirectories();
    const std::string planted = _tree.file("planted.tar");
    craft(planted, {{"door", "", _tree.file("elsewhere")}, {"door/planted.txt", "x", ""}});

    EXPECT_THROW(Archive::unpack(climbing, staging()), Poco::IOException);
    EXPECT_THROW(Archive::unpack(planted, staging()), Poco::IOException);

    EXPECT_TRUE(exists(staging("absolute.txt")));
    EXPECT_FALSE(exists(_tree.file("escaped.txt")));
    EXPECT_FALSE(exists(staging("after.txt"))) << "extraction stops at the hostile entry";
    EXPECT_FALSE(exists(_tree.file("elsewhere/planted.txt")));
}

TEST_F(ArchiveTest, MissingForeignOrUnwritableFilesThrow)
{
    _tree.write("not-an-archive", std::string(4096, 'z'));

    EXPECT_THROW(Archive::unpack(_tree.file("missing.tar.bz2"), staging()), Poco::OpenFileException);
    EXPECT_THROW(Archive::unpack(_tree.file("not-an-archive"), staging()), Poco::OpenFileException);
    EXPECT_THROW(Archive::pack(_tree.file("no-such-dir"), _tree.file("out.tar.bz2")), Poco::IOException);
    EXPECT_THROW(Archive::pack(staging(), _tree.file("no-such-dir/out.tar.bz2")), Poco::CreateFileException);
}

} // namespace
} // namespace system
} // namespace pemo
