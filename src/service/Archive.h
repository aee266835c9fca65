#pragma once

#include <string>

namespace pemo {
namespace system {

/// Whole directory trees as bzip2-compressed tar archives, the form in which
/// the system's data leaves the device and comes back.
class Archive
{
public:
    /// Writes every entry below directory (directory itself excluded), header
    /// and data, into file as ustar with the bzip2 filter, each path relative
    /// to directory. Symbolic links are stored as links, never followed.
    /// Throws Poco::CreateFileException when file cannot be created, and
    /// Poco::IOException with libarchive's text when directory or an entry
    /// cannot be read or an entry cannot be written (one ustar cannot hold,
    /// such as a socket, included); file is then left incomplete.
    static void pack(const std::string& directory, const std::string& file);

    /// Extracts every entry of file (tar, optionally bzip2-compressed) below
    /// directory, which must exist, restoring modes, times and owners. Paths
    /// are taken relative to directory, absolute ones included.
    /// Throws Poco::OpenFileException with libarchive's text when file cannot
    /// be opened as such an archive, and Poco::IOException when an entry
    /// cannot be read or written, including one whose path or link climbs
    /// with ".." or leads through a symbolic link: entries before it stay
    /// extracted.
    static void unpack(const std::string& file, const std::string& directory);
};

} // namespace system
} // namespace pemo
