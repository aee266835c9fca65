// The rules of an apply: the free space, which must give the robot's 32-bit
// board and this machine the same verdicts (lengths are summed in 32 bits
// and compared in single precision on both), and the install order.
#include "update/Update.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace pemo {
namespace system {
namespace {

const std::uint64_t MB = 1000 * 1000;

TEST(UpdateSpaceTest, DownloadNeedsTwiceTheLengthAndApplyOnce)
{
    const std::uint32_t length = 100 * MB;
    EXPECT_TRUE(fitsInFreeSpace(200 * MB, length, 2));
    EXPECT_FALSE(fitsInFreeSpace(150 * MB, length, 2));
    EXPECT_TRUE(fitsInFreeSpace(100 * MB, length, 1));
    EXPECT_FALSE(fitsInFreeSpace(99 * MB, length, 1));
}

TEST(UpdateSpaceTest, SinglePrecisionRoundsTheSameEverywhere)
{
    // Around 200 MB a float steps by 16 bytes: eight bytes short still fits.
    EXPECT_TRUE(fitsInFreeSpace(200 * MB, static_cast<std::uint32_t>(200 * MB + 8), 1));
    EXPECT_FALSE(fitsInFreeSpace(200 * MB, static_cast<std::uint32_t>(200 * MB + 16), 1));
    // Free space past 4 GiB is not cut to 32 bits.
    EXPECT_TRUE(fitsInFreeSpace(std::uint64_t(6) << 30, 0xFFFFFFF0u, 1));
}

// Doubled in 32 bits, a 2.2 GB download needed 105 MB and passed with 200 MB free.
TEST(UpdateSpaceTest, DoubledLengthPast4GiBDoesNotWrap)
{
    EXPECT_FALSE(fitsInFreeSpace(200 * MB, static_cast<std::uint32_t>(2200 * MB), 2));
    EXPECT_TRUE(fitsInFreeSpace(4400 * MB, static_cast<std::uint32_t>(2200 * MB), 2));
}

Update update(const std::string& subsystem, unsigned defaultOrder, std::map<std::string, std::string> dependencies = {})
{
    Update u;
    u.id = subsystem + "-2";
    u.subsystem = subsystem;
    u.defaultOrder = defaultOrder;
    u.dependencies = std::move(dependencies);
    return u;
}

std::string subsystems(const std::vector<Update>& updates)
{
    std::string out;
    for (const auto& u : updates)
        out += u.subsystem + " ";
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
        EXPECT_EQ("os services greeter ", subsystems(installOrder(request))) << "requested as " << subsystems(request);
    } while (std::next_permutation(request.begin(), request.end(),
                                   [](const Update& a, const Update& b) { return a.id < b.id; }));

    // Ties of default order go by id; a circle starts with its first by that rule.
    const std::vector<Update> circle{update("c", 1, {{"b", "2"}}), update("b", 1, {{"a", "2"}}),
                                     update("a", 1, {{"c", "2"}}), update("d", 0)};
    EXPECT_EQ("d a b c ", subsystems(installOrder(circle)));
}

} // namespace
} // namespace system
} // namespace pemo
