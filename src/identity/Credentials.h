#pragma once

#include "common/JSON.h"

#include <pemo/SystemNotification.h>

#include <string>

namespace pemo {

/// The robot's cloud access credentials; JSON {"accessKeyId",
/// "secretAccessKey", "region"}, every member a required string.
struct Credentials
{
    std::string accessKeyId;
    std::string secretAccessKey;
    std::string region;

    template <class Archive> void serialize(Archive& ar)
    {
        ar(CEREAL_NVP(accessKeyId), CEREAL_NVP(secretAccessKey), CEREAL_NVP(region));
    }

    bool operator==(const Credentials& other) const
    {
        return accessKeyId == other.accessKeyId && secretAccessKey == other.secretAccessKey &&
               region == other.region;
    }
};

/// The data of a "CredentialsChanged" notification: what was stored before
/// (empty strings when nothing readable was) and what is stored now.
struct CredentialsChangedData
{
    Credentials previous;
    Credentials credentials;

    template <class Archive> void serialize(Archive& ar) { ar(CEREAL_NVP(previous), CEREAL_NVP(credentials)); }
};

inline constexpr char CredentialsChangedType[] = "CredentialsChanged";

using CredentialsChanged = SystemNotification<CredentialsChangedType, CredentialsChangedData>;

} // namespace pemo
