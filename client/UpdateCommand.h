#pragma once

#include "CommandGroup.h"

#include <string>
#include <vector>

namespace pemo {
namespace client {

/// update list [FILTER] | download ID... | apply ID...: over-the-air updates.
class UpdateCommand : public CommandGroup
{
public:
    using CommandGroup::CommandGroup;
    void define(CLI::App& app) override;

private:
    void list();
    void download();
    void apply();
    /// The failure that an update answer's body reports, if any.
    void checkOutcome(const Answer& answer, const std::string& what);

    std::string _filter;
    std::vector<std::string> _ids;
};

} // namespace client
} // namespace pemo
