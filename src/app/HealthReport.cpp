#include "app/HealthReport.h"

#include <sstream>

namespace pemo {
namespace system {

std::string HealthReport::toJSON() const
{
    std::ostringstream out;
    {
        cereal::JSONOutputArchive archive(out);
        archive(CEREAL_NVP(timezone), CEREAL_NVP(skills), CEREAL_NVP(usage), CEREAL_NVP(backup), CEREAL_NVP(wipe),
                CEREAL_NVP(restore), CEREAL_NVP(errors));
    }
    return out.str();
}

} // namespace system
} // namespace pemo
