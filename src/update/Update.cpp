#include "update/Update.h"

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

} // namespace

std::string Update::destination() const
{
    return "/opt/ota/" + toVersion + "-" + subsystem + ".tar";
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

bool fitsInFreeSpace(std::uint64_t freeBytes, std::uint32_t needed)
{
    return static_cast<float>(freeBytes) >= static_cast<float>(needed);
}

bool UpdateCompare::operator()(const Update& a, const Update& b) const
{
    const bool bNeedsA = names(b, a.subsystem);
    const bool aNeedsB = names(a, b.subsystem);
    if (bNeedsA != aNeedsB)
        return bNeedsA;
    return a.defaultOrder < b.defaultOrder;
}

} // namespace system
} // namespace pemo
