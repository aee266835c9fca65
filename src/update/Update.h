#pragma once

#include "common/JSON.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace pemo {
namespace system {

/// One update the update service offers for one subsystem of the device.
struct Update
{
    /// How an update is installed.
    enum class ApplyMethod
    {
        SYSTEM = 0,
        SKILL = 1
    };

    std::string id;
    std::string subsystem;
    std::string changes;
    /// Bytes of the download.
    unsigned length = 0;
    std::string shaHash;
    std::string url;
    std::string toVersion;
    std::string fromVersion;
    /// Subsystem name to the exact version that subsystem must have.
    std::map<std::string, std::string> dependencies;
    bool downloaded = false;
    ApplyMethod applyMethod = ApplyMethod::SYSTEM;
    unsigned defaultOrder = 0;
    /// The filter of the get that found the update.
    std::string filter;

    /// The download file: "/opt/ota/" + toVersion + "-" + subsystem + ".tar".
    std::string destination() const;
};

/// Reads one update object as the get program prints it ("_id", "subsystem",
/// "changes", "length", "shaHash", "url", "toVersion", "fromVersion",
/// "dependencies"). Throws cereal::Exception when a member other than
/// "dependencies" is missing or of the wrong type. A malformed
/// "dependencies" member leaves the map as far as it was read and is
/// reported in dependencyError instead.
void loadUpdate(cereal::JSONInputArchive& archive, Update& update, std::string& dependencyError);

/// An update as clients of the update endpoint see it: no checksum, URL or
/// from-version.
struct ClientUpdate
{
    const Update& update;

    void save(cereal::JSONOutputArchive& archive) const;
};

/// Whether needed bytes fit in freeBytes. Both are compared as single-
/// precision floats, exact only to about seven significant digits, because
/// the update service sizes its offers for that rounding: a byte-exact test
/// would refuse updates that robots have always accepted. needed is a 32-bit
/// sum of update lengths, on every platform.
bool fitsInFreeSpace(std::uint64_t freeBytes, std::uint32_t needed);

/// The install order: a dependency before what depends on it, otherwise the
/// lower default order first. Two unrelated updates with the same default
/// order are equivalent.
struct UpdateCompare
{
    bool operator()(const Update& a, const Update& b) const;
};

} // namespace system
} // namespace pemo
