#pragma once

#include "CommandGroup.h"

#include <optional>
#include <string>

namespace pemo {
namespace client {

/// notify and notifications: posting a system notification, and following the notification port.
class NotificationCommand : public CommandGroup
{
public:
    using CommandGroup::CommandGroup;
    void define(CLI::App& app) override;

private:
    void notify();
    void listen();

    std::string _type;
    std::string _channel = "GENERAL";
    std::string _data;
    bool _follow = false;
    std::optional<unsigned> _wait;
};

} // namespace client
} // namespace pemo
