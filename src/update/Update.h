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

    /// Whether destination() lies directly in "/opt/ota/": neither toVersion
    /// nor subsystem is empty or holds "/" or "..". The offers come from the
    /// update service, outside the robot's trust, and the download is
    /// written as root.
    bool staysInDownloadDirectory() const;
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

/// Whether copies times length bytes fit in freeBytes. All are compared as
/// single-precision floats, exact only to about seven significant digits,
/// because the update service sizes its offers for that rounding: a
/// byte-exact test would refuse updates that robots have always accepted.
/// length is a 32-bit sum of update lengths, on every platform; it is
/// multiplied only once converted, so a doubled sum past 4 GiB cannot wrap
/// into a small one.
bool fitsInFreeSpace(std::uint64_t freeBytes, std::uint32_t length, unsigned copies);

/// Whether a and b cannot go into one install: the same update, or two whose
/// dependencies name neither's subsystem and whose default orders are equal,
/// so that nothing decides which comes first.
bool indistinguishable(const Update& a, const Update& b);

/// updates in the order they are installed, the same for every order they
/// come in: each update after the updates whose subsystem its dependencies
/// name; among those free to go next, the lower default order first, then
/// the lower id. Where dependencies go round in a circle, the first of the
/// circle by that tie-break goes first.
std::vector<Update> installOrder(std::vector<Update> updates);

} // namespace system
} // namespace pemo
