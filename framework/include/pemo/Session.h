#pragma once

#include "pemo/Permissions.h"

#include <cereal/types/string.hpp>

#include <string>

namespace pemo {

/// A caller's identity: an opaque token and the permissions it holds.
/// Always handled through std::shared_ptr<Session>.
struct Session
{
    std::string token;
    Permissions permissions;

    Session() = default;
    Session(const std::string& token, const Permissions& permissions);

    template <class Archive>
    void serialize(Archive& ar)
    {
        ar(CEREAL_NVP(token), CEREAL_NVP(permissions));
    }
};

} // namespace pemo
