#pragma once

#include "common/JSON.h"

#include <string>

namespace pemo {
namespace system {

/// The addressing of one interface as /etc/network/interfaces holds it;
/// every field is empty when the file has no value for it.
struct NetworkInterface
{
    std::string method; ///< "dhcp" or "static"
    std::string address;
    std::string network;
    std::string netmask;
    std::string broadcast;
    std::string gateway;
    std::string dns; ///< the file's "dns-nameservers"

    template <class Archive> void serialize(Archive& archive)
    {
        archive(CEREAL_NVP_("method", method), CEREAL_NVP_("address", address), CEREAL_NVP_("network", network),
                CEREAL_NVP_("netmask", netmask), CEREAL_NVP_("broadcast", broadcast),
                CEREAL_NVP_("gateway", gateway), CEREAL_NVP_("dns", dns));
    }
};

} // namespace system
} // namespace pemo
