#include "Platform/Linux/Sensors/DiskText.hpp"
#include "Platform/Linux/SystemReaders.hpp"

#include "support/RecordedText.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace KestrelCore {
namespace {

using Testing::recordedText;

TEST(DiskText, readsTheLinesThatAreWhole) {
    const auto lines = DiskText::diskStatistics(recordedText("proc/diskstats"));
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[1], (DiskText::Line{.device = "259:0",
                                        .name = "nvme0n1",
                                        .readBytes = 19'271'330ULL * 512,
                                        .writtenBytes = 79'382'272ULL * 512}));
    EXPECT_EQ(lines[4].name, "dm-0");
}

TEST(DiskText, boundsWhatACounterClaims) {
    const auto lines = DiskText::diskStatistics("8 0 sda 1 2 18446744073709551615 3 4 5 6 7");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].readBytes, std::numeric_limits<std::uint64_t>::max() / 512 * 512);
    for (const char* text : {"", "\n\n", "8 0", "8 0 sda 1 2 3", "x 0 sda 1 2 3 4 5 6 7", "8 0 sda 1 2 -3 4 5 6 7"}) {
        EXPECT_TRUE(DiskText::diskStatistics(text).empty()) << text;
    }
}

TEST(DiskText, takesEachVolumeOnADiskOnceAndNoneThatMayNeverAnswer) {
    const MountTable table = MountTable::parse(recordedText("proc/mountinfo-laptop"));
    std::vector<std::string> points;
    for (const Mount* mount : DiskText::volumesOf(table, 64)) points.push_back(mount->point + " " + mount->source);
    EXPECT_EQ(points,
              (std::vector<std::string>{"/ /dev/mapper/vg-root", "/boot/efi /dev/nvme0n1p1", "/data /dev/sdc1"}));
    EXPECT_EQ(DiskText::volumesOf(table, 1).size(), 1U);
}

TEST(Volumes, readThisMachine) {
    const auto volumes = Volumes::system()->mounted();
    const auto root = std::ranges::find(volumes, Text{"/"}, &MountedVolume::mountPoint);
    ASSERT_NE(root, volumes.end());
    EXPECT_GT(root->totalBytes, 0);
    EXPECT_LE(root->freeBytes, root->totalBytes);
    EXPECT_LE(root->availableBytes, root->totalBytes);
}

TEST(Volumes, areNoneWithoutTheKernelsTexts) {
    const auto none = volumes("/nowhere", "/nowhere");
    EXPECT_TRUE(none->mounted().empty());
    EXPECT_TRUE(none->disks().empty());
}

}  // namespace
}  // namespace KestrelCore
