#include "Platform/Linux/FileSystemLayout.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace KestrelCore {

using ::testing::ElementsAre;

namespace {

constexpr std::string_view recorded = "22 27 0:21 / /proc rw - proc proc rw\n"
                                      "27 1 254:0 / / rw - ext4 /dev/vda rw\n"
                                      "30 27 8:1 / /home rw - xfs /dev/sda1 rw\n"
                                      "31 27 254:0 /srv/www /var/www rw - ext4 /dev/vda rw\n"
                                      "32 30 8:1 / /home/again rw - xfs /dev/sda1 rw\n"
                                      "33 27 0:40 /@ /pool rw - btrfs /dev/sdb rw\n"
                                      "34 33 0:41 / /pool/box rw - overlay overlay rw\n"
                                      "35 27 0:50 / /mnt rw - nfs host:/x rw\n"
                                      "36 27 8:2 / /mnt rw - ext4 /dev/sda2 rw\n";

}  // namespace

TEST(FileSystemLayout, namesEachOtherFileSystemBelowOnce) {
    const auto layout = layoutAt(MountTable::parse(recorded), "/");
    EXPECT_EQ(layout->top, (FileSystemMount{"/", "ext4"}));
    EXPECT_FALSE(layout->sharesRoom);
    EXPECT_THAT(layout->below, ElementsAre(FileSystemMount{"/proc", "proc"}, FileSystemMount{"/home", "xfs"},
                                           FileSystemMount{"/pool", "btrfs"}, FileSystemMount{"/pool/box", "overlay"},
                                           FileSystemMount{"/mnt", "ext4"}));
}

TEST(FileSystemLayout, isOfTopsThatShowTheWhole) {
    const MountTable table = MountTable::parse(recorded);
    EXPECT_FALSE(layoutAt(table, "/var/www").has_value()) << "a folder of another place";
    EXPECT_FALSE(layoutAt(table, "/var").has_value()) << "no mount";
    EXPECT_EQ(layoutAt(table, "/mnt")->top.kind, "ext4") << "the last one is seen";
    EXPECT_TRUE(layoutAt(table, "/pool")->sharesRoom);
    EXPECT_TRUE(layoutAt(table, "/pool/box")->sharesRoom);
}

TEST(FileSystemSpace, isThatOfTheFileSystem) {
    const auto space = fileSystemSpace("/");
    ASSERT_TRUE(space.has_value());
    EXPECT_GT(space->totalBytes, 0);
    EXPECT_LE(space->availableBytes, space->freeBytes);
    EXPECT_LE(space->freeBytes, space->totalBytes);
    EXPECT_EQ(fileSystemSpace("/missing/folder"), std::nullopt);
}

}  // namespace KestrelCore
