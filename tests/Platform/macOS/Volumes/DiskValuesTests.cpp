#include "Platform/macOS/Volumes/Portable/DiskValues.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace KestrelCore {

TEST(DiskValues, areCountersOfAWholeDisk) {
    const auto disk = diskCountersOf("disk0", 4096.0, 1e12);
    ASSERT_TRUE(disk);
    EXPECT_EQ(disk->name, "disk0");
    EXPECT_TRUE(disk->isWhole);
    EXPECT_EQ(disk->readBytes, 4096U);
    EXPECT_EQ(disk->writtenBytes, 1'000'000'000'000U);
}

TEST(DiskValues, areNoneWithoutANameOrWithCountsThatAreNone) {
    EXPECT_FALSE(diskCountersOf(std::nullopt, 1.0, 1.0));
    EXPECT_FALSE(diskCountersOf("", 1.0, 1.0));
    for (const std::optional<double> count : {std::optional<double>{}, std::optional{-1.0}, std::optional{1e19},
                                              std::optional{std::numeric_limits<double>::quiet_NaN()},
                                              std::optional{std::numeric_limits<double>::infinity()}}) {
        EXPECT_FALSE(diskCountersOf("disk0", count, 1.0));
        EXPECT_FALSE(diskCountersOf("disk0", 1.0, count));
    }
}

TEST(DiskValues, tellWhatADiskIsMadeOf) {
    EXPECT_EQ(diskKindOfMedium("Solid State"), DiskKind::solid);
    EXPECT_EQ(diskKindOfMedium("Rotational"), DiskKind::rotating);
    EXPECT_EQ(diskKindOfMedium("Tape"), DiskKind::unknown);
    EXPECT_EQ(diskKindOfMedium(std::nullopt), DiskKind::unknown);
}

TEST(DiskValues, nameDisksOnly) {
    EXPECT_EQ(diskNameOf("/dev/disk3s1s1"), "disk3s1s1");
    for (const char* source : {"devfs", "map auto_home", "//anna@nas/share", "/dev/null", "/dev/../disk1", "/dev/",
                               "2026.backup@/dev/disk3s5", ""})
        EXPECT_EQ(diskNameOf(source), "") << source;
}

}  // namespace KestrelCore
