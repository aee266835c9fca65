#pragma once

#include <cereal/cereal.hpp>
#include <cereal/types/string.hpp>

#include <cstdint>
#include <string>

namespace pemo {

/// How the service registry describes one service. A ttl of 0 never expires.
struct ServiceRecord
{
    std::string name;
    std::string host;
    std::uint32_t port = 0;
    std::string path;
    std::uint32_t ttl = 0;
    std::string tls;

    template <class Archive>
    void serialize(Archive& ar)
    {
        ar(CEREAL_NVP(name), CEREAL_NVP(host), CEREAL_NVP(port), CEREAL_NVP(path), CEREAL_NVP(ttl),
           CEREAL_NVP(tls));
    }
};

} // namespace pemo
