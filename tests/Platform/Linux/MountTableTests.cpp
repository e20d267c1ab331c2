#include "Platform/Linux/MountTable.hpp"

#include "support/ChildProcess.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <sys/mount.h>

namespace KestrelCore {

namespace {

std::vector<std::string> points(std::string_view text) {
    std::vector<std::string> points;
    for (const Mount& mount : MountTable::parse(text).mounts) points.push_back(mount.point);
    return points;
}

}  // namespace

TEST(MountTable, readsMountPointsWithTheirEscapes) {
    EXPECT_EQ(points("27 1 254:0 / / rw,relatime - ext4 /dev/vda rw\n"
                     "30 27 0:27 / /mnt/a\\040b\\134c rw shared:1 - tmpfs tmpfs rw\n"
                     "31 27 0:27 /x /mnt/line\\012feed rw - tmpfs tmpfs rw"),
              (std::vector<std::string>{"/", "/mnt/a b\\c", "/mnt/line\nfeed"}));
}

TEST(MountTable, readsWhatAMountShows) {
    const MountTable table =
        MountTable::parse("27 1 254:0 / / rw,relatime - ext4 /dev/vda rw\n"
                          "31 27 254:0 /data/my\\040homes /view rw shared:7 master:2 - ext4 /dev/vda rw,x=a\\054b\n");
    EXPECT_EQ(table.find(31), &table.mounts.at(1));
    EXPECT_EQ(table.mounts.at(1), (Mount{.identifier = 31,
                                         .device = "254:0",
                                         .root = "/data/my homes",
                                         .point = "/view",
                                         .type = "ext4",
                                         .source = "/dev/vda",
                                         .options = "rw,x=a\\054b"}));
    EXPECT_EQ(table.find(28), nullptr);
}

TEST(MountTable, leavesOutWhatItDoesNotUnderstand) {
    EXPECT_TRUE(points("").empty());
    EXPECT_TRUE(points("\n\n1\n1 2\n1 2 3 4\n1 2 3 4 relative x\n    \n").empty());
    EXPECT_EQ(points("1 2 3 4 /\\0"), std::vector<std::string>{"/\\0"});
}

TEST(MountTable, findsMountsAtAPathAndBelow) {
    const MountTable table = MountTable::parse("1 0 8:1 / / rw - ext4 a rw\n"
                                               "2 1 8:2 / /home rw - ext4 b rw\n"
                                               "3 1 8:3 / /media/disk rw - ext4 c rw\n");
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
    EXPECT_EQ(MountTableReader{}.current()->mounts, table->mounts);
}

TEST(MountTable, isReadAnewForWhoAsksAgain) {
    const TemporaryFolder folder;
    inChild(ChildSetting::mountNamespace, [&] {
        MountTableReader reader;
        const auto isMounted = [&] { return reader.current().value().hasMountAtOrBelow(folder.path()); };
        EXPECT_FALSE(isMounted());
        if (::mount("none", folder.path().c_str(), "tmpfs", 0, nullptr) != 0)
            GTEST_SKIP() << "file systems can't be mounted here";
        EXPECT_TRUE(isMounted());
        ASSERT_EQ(::umount(folder.path().c_str()), 0);
        EXPECT_FALSE(isMounted());
    });
}

}  // namespace KestrelCore
