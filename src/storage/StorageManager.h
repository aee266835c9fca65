#pragma once

#include "common/JSON.h"

#include <Poco/AutoPtr.h>
#include <Poco/Logger.h>
#include <Poco/Util/AbstractConfiguration.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace pemo {
namespace system {

/// The device's storage in two views: every mounted file system with its
/// size and free space, and the space used by named areas (logs, skills,
/// downloads). Nothing is cached: every call measures afresh, one call at a
/// time.
class StorageManager
{
public:
    struct Params
    {
        /// The mount table, in the fstab line format.
        std::string mount_entries_file = "/proc/mounts";
        /// Area name to its path; areas are reported in name order.
        std::map<std::string, std::string> semantics;
    };

    /// One mounted file system; sizes in bytes.
    struct Mount
    {
        std::string name;
        std::string path;
        std::string type;
        std::string opts;
        int freq = 0;
        int passno = 0;
        std::uint64_t size = 0;
        std::uint64_t free = 0;
        std::uint64_t used = 0;

        template <class Archive> void serialize(Archive& ar)
        {
            ar(CEREAL_NVP(name), CEREAL_NVP(path), CEREAL_NVP(type), CEREAL_NVP(opts), CEREAL_NVP(freq),
               CEREAL_NVP(passno), CEREAL_NVP(size), CEREAL_NVP(free), CEREAL_NVP(used));
        }
    };

    /// The bytes allocated under one named area.
    struct SemanticUsage
    {
        std::string type;
        std::string path;
        std::uint64_t size = 0;

        template <class Archive> void serialize(Archive& ar)
        {
            ar(CEREAL_NVP(type), CEREAL_NVP(path), CEREAL_NVP(size));
        }
    };

    /// config is the "SystemManager.storage" view: "mount_entries_file" and
    /// the "semantic" subtree of area name to path.
    explicit StorageManager(Poco::AutoPtr<Poco::Util::AbstractConfiguration> config);
    virtual ~StorageManager();

    /// Nothing to start or stop.
    void start();
    void stop();

    /// Every entry of the mount table, in table order, with its sizes. An
    /// entry whose mount point cannot be examined is logged and left out.
    /// Throws StorageManagerException "Error opening entries file (errno): "
    /// + the system's text when the table cannot be opened.
    std::vector<Mount> getMounts();

    /// Each configured area with the bytes allocated under it (blocks of
    /// 512, symbolic links not followed, a hard link counted per link); a
    /// path that does not exist counts 0. Does not throw for an area.
    std::vector<SemanticUsage> getSemanticStorage();

    const Params& params() const { return _params; }

private:
    Params _params;
    Poco::Logger& _logger;
    std::mutex _mutex;
};

} // namespace system
} // namespace pemo
