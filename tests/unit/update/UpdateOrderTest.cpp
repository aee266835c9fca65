#include "update/Update.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace pemo {
namespace system {
namespace {

Update update(const std::string& subsystem, unsigned defaultOrder, std::map<std::string, std::string> dependencies = {})
{
    Update u;
    u.id = subsystem + "-2";
    u.subsystem = subsystem;
    u.defaultOrder = defaultOrder;
    u.dependencies = std::move(dependencies);
    return u;
}

std::vector<std::string> subsystems(const std::vector<Update>& updates)
{
    std::vector<std::string> out;
    for (const auto& u : updates)
        out.push_back(u.subsystem);
    return out;
}

// The order compared a dependency against default orders, which is no
// ordering at all: the request ["os","greeter","services"] installed greeter
// before the services update it needs.
TEST(UpdateOrderTest, NonTransitiveOrderNoLongerInstallsADependantFirst)
{
    std::vector<Update> request{update("greeter", 1, {{"services", "1.1.0"}}), update("os", 3), update("services", 4)};
    std::sort(request.begin(), request.end(), [](const Update& a, const Update& b) { return a.id < b.id; });
    do
    {
        EXPECT_EQ((std::vector<std::string>{"os", "services", "greeter"}), subsystems(installOrder(request)))
            << "requested as " << ::testing::PrintToString(subsystems(request));
    } while (std::next_permutation(request.begin(), request.end(),
                                   [](const Update& a, const Update& b) { return a.id < b.id; }));

    // Ties of default order go by id; a circle starts with its first by that rule.
    const std::vector<Update> circle{update("c", 1, {{"b", "2"}}), update("b", 1, {{"a", "2"}}),
                                     update("a", 1, {{"c", "2"}}), update("d", 0)};
    EXPECT_EQ((std::vector<std::string>{"d", "a", "b", "c"}), subsystems(installOrder(circle)));
}

} // namespace
} // namespace system
} // namespace pemo
