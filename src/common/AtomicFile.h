#pragma once

#include <string>
#include <sys/types.h>

namespace pemo {
namespace system {

/// Replaces the file at path with content so that a crash or power loss at
/// any moment leaves either the old file or the new one, whole: the content
/// goes to path + ".new", is flushed and synced, renamed over path, and the
/// directory is synced so that the rename itself survives.
///
/// A new file gets mode (less the umask); a replaced one takes it too.
///
/// Throws Poco::FileException (with the failing step, the path and the
/// system's error text) when any step fails; path is then untouched and a
/// partly written path + ".new" is removed.
void writeFileAtomically(const std::string& path, const std::string& content, mode_t mode = 0600);

/// Makes path a symbolic link to target so that a crash at any moment leaves
/// the old link (or file) or the new link, never nothing: the link is made
/// as path + ".new" (replacing one an interrupted change left) and renamed
/// over path, and the directory is synced.
///
/// Throws Poco::FileException as writeFileAtomically() does; path is then
/// untouched.
void replaceLinkAtomically(const std::string& path, const std::string& target);

} // namespace system
} // namespace pemo
