#include "Platform/Linux/MountTable.hpp"

#include <gtest/gtest.h>

namespace KestrelCore {

TEST(MountTable, readsMountPointsWithTheirEscapes) {
    const MountTable table = MountTable::parse("27 1 254:0 / / rw,relatime - ext4 /dev/vda rw\n"
                                               "30 27 0:27 / /mnt/a\\040b\\134c rw shared:1 - tmpfs tmpfs rw\n"
                                               "31 27 0:27 /x /mnt/line\\012feed rw - tmpfs tmpfs rw");
    EXPECT_EQ(table.points, (std::vector<std::string>{"/", "/mnt/a b\\c", "/mnt/line\nfeed"}));
}

TEST(MountTable, leavesOutWhatItDoesNotUnderstand) {
    EXPECT_TRUE(MountTable::parse("").points.empty());
    EXPECT_TRUE(MountTable::parse("\n\n1\n1 2\n1 2 3 4\n1 2 3 4 relative x\n    \n").points.empty());
    EXPECT_EQ(MountTable::parse("1 2 3 4 /\\0").points, std::vector<std::string>{"/\\0"});
}

TEST(MountTable, findsMountsAtAPathAndBelow) {
    const MountTable table{{"/", "/home", "/media/disk"}};
    EXPECT_TRUE(table.hasMountAtOrBelow("/"));
    EXPECT_TRUE(table.hasMountAtOrBelow("/home"));
    EXPECT_TRUE(table.hasMountAtOrBelow("/media"));
    EXPECT_FALSE(table.hasMountAtOrBelow("/home/anna"));
    EXPECT_FALSE(table.hasMountAtOrBelow("/med"));
    EXPECT_FALSE(table.hasMountAtOrBelow("/media/disk2"));
}

TEST(MountTable, knowsTheMountsOfThisSystem) {
    const auto table = MountTable::current();
    if (!table) GTEST_SKIP() << "The system does not tell its mounts";
    EXPECT_TRUE(table->hasMountAtOrBelow("/"));
}

}  // namespace KestrelCore
