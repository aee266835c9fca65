#pragma once

#include <string>

namespace pemo {
namespace system {

/// Replaces the file at path with content so that a crash or power loss at
/// any moment leaves either the old file or the new one, whole: the content
/// goes to path + ".new", is flushed and synced, renamed over path, and the
/// directory is synced so that the rename itself survives.
///
/// Throws Poco::FileException (with the failing step, the path and the
/// system's error text) when any step fails; path is then untouched and a
/// partly written path + ".new" is removed.
void writeFileAtomically(const std::string& path, const std::string& content);

} // namespace system
} // namespace pemo
