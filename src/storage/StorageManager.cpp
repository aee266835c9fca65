#include "storage/StorageManager.h"

#include "storage/StorageManagerException.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <exception>
#include <fcntl.h>
#include <mntent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace pemo {
namespace system {

namespace {

// st_blocks counts 512-byte units whatever the file system's block size.
const std::uint64_t STAT_BLOCK = 512;

StorageManager::Params readParams(const Poco::Util::AbstractConfiguration& config)
{
    StorageManager::Params params;
    params.mount_entries_file = config.getString("mount_entries_file", params.mount_entries_file);
    Poco::Util::AbstractConfiguration::Keys areas;
    config.keys("semantic", areas);
    for (const std::string& area : areas)
        params.semantics[area] = config.getString("semantic." + area);
    return params;
}

std::string errorText(int error)
{
    return "(" + std::to_string(error) + "): " + std::strerror(error);
}

/// Closes the mount table on every way out.
class MountTable
{
public:
    explicit MountTable(const std::string& file) : _table(::setmntent(file.c_str(), "r"))
    {
        if (!_table)
            throw StorageManagerException("Error opening entries file " + errorText(errno));
    }
    ~MountTable() { ::endmntent(_table); }
    MountTable(const MountTable&) = delete;
    MountTable& operator=(const MountTable&) = delete;

    /// The next entry, or null at the end; valid until the next call.
    struct mntent* next()
    {
        return ::getmntent_r(_table, &_entry, _buffer, sizeof _buffer);
    }

private:
    FILE* _table;
    struct mntent _entry;
    char _buffer[4096];
};

StorageManager::Mount toMount(const struct mntent& entry, const struct statvfs& fs)
{
    const std::uint64_t unit = fs.f_frsize != 0 ? fs.f_frsize : fs.f_bsize;
    StorageManager::Mount mount;
    mount.name = entry.mnt_fsname;
    mount.path = entry.mnt_dir;
    mount.type = entry.mnt_type;
    mount.opts = entry.mnt_opts;
    mount.freq = entry.mnt_freq;
    mount.passno = entry.mnt_passno;
    mount.size = unit * fs.f_blocks;
    mount.free = unit * fs.f_bavail;
    mount.used = unit * (fs.f_blocks - fs.f_bfree);
    return mount;
}

std::uint64_t allocated(const struct stat& status)
{
    return static_cast<std::uint64_t>(status.st_blocks) * STAT_BLOCK;
}

/// The bytes allocated under the directory open as fd, closing it. Entries
/// are examined relative to the directory's descriptor: no path is built
/// and the kernel walks no path twice. One that vanishes meanwhile counts 0.
std::uint64_t directoryUsage(int fd)
{
    DIR* directory = ::fdopendir(fd);
    if (!directory)
    {
        ::close(fd);
        return 0;
    }
    std::uint64_t total = 0;
    while (const struct dirent* entry = ::readdir(directory))
    {
        const char* name = entry->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
            continue;
        struct stat status;
        if (::fstatat(fd, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        total += allocated(status);
        if (!S_ISDIR(status.st_mode))
            continue;
        const int child = ::openat(fd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (child >= 0)
            total += directoryUsage(child);
    }
    ::closedir(directory);
    return total;
}

std::uint64_t pathUsage(const std::string& path)
{
    struct stat status;
    if (::lstat(path.c_str(), &status) != 0)
        return 0;
    std::uint64_t total = allocated(status);
    if (S_ISDIR(status.st_mode))
    {
        const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd >= 0)
            total += directoryUsage(fd);
    }
    return total;
}

} // namespace

StorageManager::StorageManager(Poco::AutoPtr<Poco::Util::AbstractConfiguration> config)
    : _params(readParams(*config)), _logger(Poco::Logger::get("SystemManager.StorageManager"))
{
}

StorageManager::~StorageManager() = default;

void StorageManager::start()
{
    _logger.trace("StorageManager::start");
}

void StorageManager::stop()
{
    _logger.trace("StorageManager::stop");
}

std::vector<StorageManager::Mount> StorageManager::getMounts()
{
    std::lock_guard<std::mutex> lock(_mutex);
    _logger.trace("StorageManager::getMounts");
    MountTable table(_params.mount_entries_file);
    std::vector<Mount> mounts;
    while (const struct mntent* entry = table.next())
    {
        struct statvfs fs;
        if (::statvfs(entry->mnt_dir, &fs) != 0)
        {
            _logger.warning("StorageManager::getMounts Error opening path " + errorText(errno) + " on " +
                            entry->mnt_dir + "; the mount is left out of the list");
            continue;
        }
        mounts.push_back(toMount(*entry, fs));
    }
    return mounts;
}

std::vector<StorageManager::SemanticUsage> StorageManager::getSemanticStorage()
{
    std::lock_guard<std::mutex> lock(_mutex);
    _logger.trace("StorageManager::getSemanticUsage");
    std::vector<SemanticUsage> usage;
    for (const auto& [type, path] : _params.semantics)
    {
        try
        {
            usage.push_back({type, path, pathUsage(path)});
        }
        catch (const std::exception& e)
        {
            _logger.error("StorageManager::getSemanticUsage caught exception while reading storage for " + type +
                          " (" + e.what() + "); the area is left out");
        }
    }
    return usage;
}

} // namespace system
} // namespace pemo
