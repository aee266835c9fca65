#pragma once

#include "CommandGroup.h"

#include <string>

namespace pemo {
namespace client {

/// credentials [set ...]: the cloud credentials.
class CredentialsCommand : public CommandGroup
{
public:
    using CommandGroup::CommandGroup;
    void define(CLI::App& app) override;

private:
    void show();
    void set();

    std::string _accessKeyId;
    std::string _secretAccessKey;
    std::string _region;
    bool _showSecret = false;
};

} // namespace client
} // namespace pemo
