#include "update/Update.h"

#include <algorithm>
#include <tuple>

namespace pemo {
namespace system {

namespace {

// The members of one JSON object, read as name to string in document order;
// cereal has no reader for an object whose member names are data. A failure
// inside the object still closes it, so that the archive can go on with the
// next update.
void loadDependencies(cereal::JSONInputArchive& archive, std::map<std::string, std::string>& dependencies)
{
    archive.setNextName("dependencies");
    archive.startNode();
    try
    {
        while (const char* name = archive.getNodeName())
        {
            const std::string subsystem = name;
            std::string version;
            archive(version);
            dependencies[subsystem] = version;
        }
    }
    catch (...)
    {
        archive.finishNode();
        throw;
    }
    archive.finishNode();
}

// Writes a map as one JSON object of its entries.
struct DependencyObject
{
    const std::map<std::string, std::string>& dependencies;

    void save(cereal::JSONOutputArchive& archive) const
    {
        for (const auto& [subsystem, version] : dependencies)
            archive(cereal::make_nvp(subsystem.c_str(), version));
    }
};

bool names(const Update& update, const std::string& subsystem)
{
    return update.dependencies.count(subsystem) != 0;
}

// A name that adds no directory of its own to the download's path.
bool plainName(const std::string& name)
{
    return !name.empty() && name.find('/') == std::string::npos && name.find("..") == std::string::npos;
}

} // namespace

std::string Update::destination() const
{
    return "/opt/ota/" + toVersion + "-" + subsystem + ".tar";
}

bool Update::staysInDownloadDirectory() const
{
    return plainName(toVersion) && plainName(subsystem);
}

void loadUpdate(cereal::JSONInputArchive& archive, Update& update, std::string& dependencyError)
{
    archive(cereal::make_nvp("_id", update.id), cereal::make_nvp("subsystem", update.subsystem),
            cereal::make_nvp("changes", update.changes), cereal::make_nvp("length", update.length),
            cereal::make_nvp("shaHash", update.shaHash), cereal::make_nvp("url", update.url),
            cereal::make_nvp("toVersion", update.toVersion), cereal::make_nvp("fromVersion", update.fromVersion));
    try
    {
        loadDependencies(archive, update.dependencies);
    }
    catch (const cereal::Exception& e)
    {
        dependencyError = std::string("Dependency cereal error: ") + e.what();
    }
    catch (const std::exception& e)
    {
        dependencyError = std::string("Dependency error: ") + e.what();
    }
}

void ClientUpdate::save(cereal::JSONOutputArchive& archive) const
{
    archive(cereal::make_nvp("id", update.id), cereal::make_nvp("subsystem", update.subsystem),
            cereal::make_nvp("changes", update.changes), cereal::make_nvp("length", update.length),
            cereal::make_nvp("toVersion", update.toVersion),
            cereal::make_nvp("dependencies", DependencyObject{update.dependencies}),
            cereal::make_nvp("downloaded", update.downloaded));
}

bool fitsInFreeSpace(std::uint64_t freeBytes, std::uint32_t length, unsigned copies)
{
    return static_cast<float>(freeBytes) >= static_cast<float>(copies) * static_cast<float>(length);
}

bool indistinguishable(const Update& a, const Update& b)
{
    if (a.id == b.id)
        return true;
    return !names(a, b.subsystem) && !names(b, a.subsystem) && a.defaultOrder == b.defaultOrder;
}

// Kahn's algorithm over a list sorted by the tie-break: the first update not
// yet placed that waits for none of the others not yet placed goes next.
// Requests hold a handful of updates, so the quadratic scan is cheaper than
// building a graph.
std::vector<Update> installOrder(std::vector<Update> updates)
{
    std::sort(updates.begin(), updates.end(), [](const Update& a, const Update& b) {
        return std::tie(a.defaultOrder, a.id) < std::tie(b.defaultOrder, b.id);
    });
    std::vector<bool> placed(updates.size(), false);
    const auto waits = [&](std::size_t i) {
        for (std::size_t j = 0; j < updates.size(); ++j)
        {
            if (j != i && !placed[j] && names(updates[i], updates[j].subsystem))
                return true;
        }
        return false;
    };
    std::vector<Update> order;
    while (order.size() < updates.size())
    {
        std::size_t next = updates.size();
        std::size_t firstLeft = updates.size();
        for (std::size_t i = 0; i < updates.size() && next == updates.size(); ++i)
        {
            if (placed[i])
                continue;
            firstLeft = std::min(firstLeft, i);
            if (!waits(i))
                next = i;
        }
        if (next == updates.size())
            next = firstLeft;
        placed[next] = true;
        order.push_back(updates[next]);
    }
    return order;
}

} // namespace system
} // namespace pemo
