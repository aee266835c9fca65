// The free-space rule must give the robot's 32-bit board and this machine
// the same verdicts: lengths are summed in 32 bits and compared in single
// precision on both.
#include "update/Update.h"

#include <gtest/gtest.h>

#include <cstdint>

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

} // namespace
} // namespace system
} // namespace pemo
