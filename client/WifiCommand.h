#pragma once

#include "CommandGroup.h"

#include <optional>
#include <string>
#include <vector>

namespace pemo {
namespace client {

/// wifi interface|wpa|messages: the wireless interface's addressing, wpa_supplicant's control commands and its events.
class WifiCommand : public CommandGroup
{
public:
    using CommandGroup::CommandGroup;
    void define(CLI::App& app) override;

private:
    void showInterface();
    void setInterface();
    void wpa();
    void messages();

    bool _dhcp = false;
    std::string _address;
    std::string _netmask;
    std::string _gateway;
    std::string _network;
    std::string _broadcast;
    std::vector<std::string> _dns;
    std::vector<std::string> _command;
    bool _follow = false;
    std::optional<unsigned> _wait;
};

} // namespace client
} // namespace pemo
