#include "service/Archive.h"

#include <Poco/Exception.h>

#include <archive.h>
#include <archive_entry.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace pemo {
namespace system {

namespace {

using Handle = std::unique_ptr<struct archive, int (*)(struct archive*)>;
using Entry = std::unique_ptr<struct archive_entry, void (*)(struct archive_entry*)>;

// Never through a symbolic link, never above the staging directory: an
// archive comes from outside the device and may have been tampered with.
const int EXTRACT_FLAGS = ARCHIVE_EXTRACT_TIME | ARCHIVE_EXTRACT_PERM | ARCHIVE_EXTRACT_OWNER |
                          ARCHIVE_EXTRACT_SECURE_SYMLINKS | ARCHIVE_EXTRACT_SECURE_NODOTDOT;

std::string errorOf(struct archive* a)
{
    const char* text = archive_error_string(a);
    return text ? text : "unknown libarchive error";
}

// Warnings (an owner that cannot be looked up, say) leave the entry usable.
void check(struct archive* a, la_ssize_t result, const std::string& what)
{
    if (result < ARCHIVE_WARN)
        throw Poco::IOException(what + ": " + errorOf(a));
}

Handle newHandle(struct archive* a, int (*release)(struct archive*))
{
    if (!a)
        throw Poco::OutOfMemoryException("libarchive handle");
    return Handle(a, release);
}

std::string withoutTrailingSlashes(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

// The disk reader names entries by the path it was opened with followed by
// their place in the tree.
std::string relativeTo(const std::string& directory, const std::string& path)
{
    if (path.compare(0, directory.size(), directory) != 0)
        return path;
    const auto start = path.find_first_not_of('/', directory.size());
    return start == std::string::npos ? std::string() : path.substr(start);
}

std::string under(const std::string& directory, const char* path)
{
    std::string relative(path ? path : "");
    relative.erase(0, relative.find_first_not_of('/'));
    return directory + "/" + relative;
}

// The real path, so that the symbolic-link check of the disk writer only
// judges what lies inside the staging directory.
std::string realDirectory(const std::string& directory)
{
    char resolved[PATH_MAX];
    if (!::realpath(directory.c_str(), resolved))
        throw Poco::IOException("Cannot resolve " + directory + ": " + std::strerror(errno));
    return resolved;
}

void copyFileData(struct archive* disk, struct archive* tar, const std::string& name)
{
    char buffer[8192];
    for (;;)
    {
        const la_ssize_t n = archive_read_data(disk, buffer, sizeof(buffer));
        check(disk, n, "Cannot read " + name);
        if (n == 0)
            return;
        check(tar, archive_write_data(tar, buffer, static_cast<std::size_t>(n)), "Cannot archive " + name);
    }
}

void copyTree(struct archive* disk, struct archive* tar, const std::string& directory)
{
    Entry entry(archive_entry_new(), archive_entry_free);
    for (;;)
    {
        archive_entry_clear(entry.get());
        const int result = archive_read_next_header2(disk, entry.get());
        if (result == ARCHIVE_EOF)
            return;
        check(disk, result, "Cannot walk " + directory);
        check(disk, archive_read_disk_descend(disk), "Cannot descend below " + directory);
        const std::string name = relativeTo(directory, archive_entry_pathname(entry.get()));
        if (name.empty())
            continue;
        archive_entry_set_pathname(entry.get(), name.c_str());
        check(tar, archive_write_header(tar, entry.get()), "Cannot archive " + name);
        if (archive_entry_filetype(entry.get()) == AE_IFREG)
            copyFileData(disk, tar, name);
    }
}

void copyEntryData(struct archive* tar, struct archive* disk, const std::string& name)
{
    const void* block = nullptr;
    size_t size = 0;
    la_int64_t offset = 0;
    for (;;)
    {
        const int result = archive_read_data_block(tar, &block, &size, &offset);
        if (result == ARCHIVE_EOF)
            return;
        check(tar, result, "Cannot read " + name);
        check(disk, archive_write_data_block(disk, block, size, offset), "Cannot extract " + name);
    }
}

void extractEntries(struct archive* tar, struct archive* disk, const std::string& directory)
{
    struct archive_entry* entry = nullptr;
    for (;;)
    {
        const int result = archive_read_next_header(tar, &entry);
        if (result == ARCHIVE_EOF)
            return;
        check(tar, result, "Cannot read an entry");
        const std::string name = archive_entry_pathname(entry) ? archive_entry_pathname(entry) : "";
        archive_entry_set_pathname(entry, under(directory, name.c_str()).c_str());
        // A hard link's target is a path too, resolved from the current
        // directory unless it is moved along.
        if (archive_entry_hardlink(entry))
            archive_entry_set_hardlink(entry, under(directory, archive_entry_hardlink(entry)).c_str());
        check(disk, archive_write_header(disk, entry), "Cannot extract " + name);
        if (archive_entry_size(entry) > 0)
            copyEntryData(tar, disk, name);
        check(disk, archive_write_finish_entry(disk), "Cannot finish " + name);
    }
}

} // namespace

void Archive::pack(const std::string& directory, const std::string& file)
{
    const std::string root = withoutTrailingSlashes(directory);
    Handle disk = newHandle(archive_read_disk_new(), archive_read_free);
    Handle tar = newHandle(archive_write_new(), archive_write_free);
    // Physical: a link to somewhere else on the device is kept as a link.
    check(disk.get(), archive_read_disk_set_symlink_physical(disk.get()), "Cannot configure the disk reader");
    check(disk.get(), archive_read_disk_set_standard_lookup(disk.get()), "Cannot configure the disk reader");
    check(tar.get(), archive_write_add_filter_bzip2(tar.get()), "Cannot select bzip2");
    check(tar.get(), archive_write_set_format_ustar(tar.get()), "Cannot select ustar");
    check(disk.get(), archive_read_disk_open(disk.get(), root.c_str()), "Cannot open " + root);
    if (archive_write_open_filename(tar.get(), file.c_str()) != ARCHIVE_OK)
        throw Poco::CreateFileException(file + ": " + errorOf(tar.get()));
    copyTree(disk.get(), tar.get(), root);
    check(tar.get(), archive_write_close(tar.get()), "Cannot complete " + file);
}

void Archive::unpack(const std::string& file, const std::string& directory)
{
    const std::string root = realDirectory(directory);
    Handle tar = newHandle(archive_read_new(), archive_read_free);
    check(tar.get(), archive_read_support_format_tar(tar.get()), "Cannot select tar");
    check(tar.get(), archive_read_support_filter_bzip2(tar.get()), "Cannot select bzip2");
    if (archive_read_open_filename(tar.get(), file.c_str(), 10240) != ARCHIVE_OK)
        throw Poco::OpenFileException(errorOf(tar.get()));
    Handle disk = newHandle(archive_write_disk_new(), archive_write_free);
    check(disk.get(), archive_write_disk_set_options(disk.get(), EXTRACT_FLAGS), "Cannot configure the disk writer");
    check(disk.get(), archive_write_disk_set_standard_lookup(disk.get()), "Cannot configure the disk writer");
    extractEntries(tar.get(), disk.get(), root);
    check(disk.get(), archive_write_close(disk.get()), "Cannot complete extraction into " + root);
}

} // namespace system
} // namespace pemo
