#pragma once

#include <cereal/cereal.hpp>

namespace pemo {

/// The permission set a session carries. Every flag is a capability a
/// caller may hold; a route states the set it requires.
struct Permissions
{
    bool recordVideo = false;
    bool recordAudio = false;
    bool takePhoto = false;
    bool firePhotonTorpedos = false;

    /// Sets all four flags to the given value.
    explicit Permissions(bool all = false);

    /// True when held grants every flag that required asks for.
    static bool check(const Permissions& required, const Permissions& held);

    bool operator==(const Permissions& other) const;

    template <class Archive>
    void serialize(Archive& ar)
    {
        ar(CEREAL_NVP(recordVideo), CEREAL_NVP(recordAudio), CEREAL_NVP(takePhoto),
           CEREAL_NVP(firePhotonTorpedos));
    }
};

} // namespace pemo
