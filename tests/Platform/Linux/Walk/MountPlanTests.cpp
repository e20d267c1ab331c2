#include "Platform/Linux/Walk/MountPlan.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace KestrelCore {

namespace {

using ::testing::ElementsAre;

// identifier parent device root point options - type source options
constexpr const char* table =
    "20 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
    "21 20 8:2 / /home rw - xfs /dev/sda2 rw\n"
    "22 20 0:20 / /proc rw - proc proc rw\n"
    "23 20 8:1 /srv/data /srv/again rw - ext4 /dev/sda1 rw\n"  // a folder that is seen at its own place
    "24 20 8:1 /srv/self /srv/self rw - ext4 /dev/sda1 rw\n"   // a folder on itself: seen here alone
    "25 20 8:3 / /mnt/first rw - ext4 /dev/sdb1 rw\n"          // one file system at two places
    "26 20 8:3 / /mnt/second rw - ext4 /dev/sdb1 rw\n"
    "27 20 8:3 /part /mnt/part rw - ext4 /dev/sdb1 rw\n"  // and a folder of it
    "28 20 0:50 / /mnt/nas rw - nfs4 nas:/export rw\n"
    "29 21 8:1 / /home/anna/top rw - ext4 /dev/sda1 rw\n"  // the whole of what "/" shows
    "30 20 8:1 /srv/self/deep /srv/deep rw - ext4 /dev/sda1 rw\n";

/// The mounts that a walk from `root` enters, when it meets all of them.
std::vector<std::uint64_t> entered(std::string_view root, MountCrossing crossing = MountCrossing::exceptKernel) {
    MountPlan plan{crossing, MountTable::parse(table), root, {.device = 1, .inode = 1}};
    std::vector<std::uint64_t> result;
    for (std::uint64_t mount = 21; mount <= 30; ++mount) {
        if (plan.enter({.path = {}, .folder = {.device = mount, .inode = 2}, .mount = mount, .mountAbove = 20}))
            result.push_back(mount);
    }
    return result;
}

}  // namespace

TEST(MountPlan, entersEachFileSystemOnceAndNoneOfTheKernels) {
    EXPECT_THAT(entered("/"), ElementsAre(21, 24, 25, 28));
    EXPECT_THAT(entered("/", MountCrossing::all), ElementsAre(21, 22, 24, 25, 28));
}

TEST(MountPlan, entersWhatTheRootDoesNotShowItself) {
    // From /home nothing of the first disk is seen but by the mounts.
    MountPlan plan{MountCrossing::exceptKernel, MountTable::parse(table), "/home", {.device = 1, .inode = 1}};
    const auto top = plan.enter({.path = {}, .folder = {.device = 29, .inode = 2}, .mount = 29, .mountAbove = 21});
    ASSERT_TRUE(top);
    EXPECT_EQ(top->kind, "ext4");
    // What holds the root again is not entered: /srv/again would be counted twice, and so would the rest.
    MountPlan below{MountCrossing::exceptKernel, MountTable::parse(table), "/srv/data", {.device = 1, .inode = 1}};
    EXPECT_FALSE(below.enter({.path = {}, .folder = {.device = 29, .inode = 2}, .mount = 29, .mountAbove = 20}));
    EXPECT_FALSE(below.enter({.path = {}, .folder = {.device = 23, .inode = 2}, .mount = 23, .mountAbove = 20}));
}

TEST(MountPlan, saysWhatIsOnAnotherMachine) {
    MountPlan plan{MountCrossing::exceptKernel, MountTable::parse(table), "/", {.device = 1, .inode = 1}};
    const auto nas = plan.enter({.path = {}, .folder = {.device = 50, .inode = 2}, .mount = 28, .mountAbove = 20});
    ASSERT_TRUE(nas);
    EXPECT_TRUE(nas->isRemote);
    EXPECT_EQ(nas->kind, "nfs4");
}

TEST(MountPlan, entersWhatTheTableDoesNotKnowOnce) {
    MountPlan plan{MountCrossing::exceptKernel, MountTable{}, "/", {.device = 1, .inode = 1}};
    EXPECT_TRUE(plan.enter({.path = {}, .folder = {.device = 7, .inode = 256}, .mount = 0, .mountAbove = 0}));
    EXPECT_FALSE(plan.enter({.path = {}, .folder = {.device = 7, .inode = 256}, .mount = 0, .mountAbove = 0}));
    EXPECT_FALSE(plan.enter({.path = {}, .folder = {.device = 1, .inode = 1}, .mount = 0, .mountAbove = 0}));
    // A subvolume is another device on the mount of the folder above it.
    MountPlan known{MountCrossing::exceptKernel, MountTable::parse(table), "/", {.device = 1, .inode = 1}};
    EXPECT_TRUE(known.enter({.path = {}, .folder = {.device = 8, .inode = 256}, .mount = 21, .mountAbove = 21}));
}

}  // namespace KestrelCore
