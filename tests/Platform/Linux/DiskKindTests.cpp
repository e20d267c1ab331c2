#include "Platform/DiskKind.hpp"

#include "Platform/Linux/Contents/DiskQueue.hpp"

#include <gtest/gtest.h>

namespace KestrelCore {

TEST(DiskKind, isWhatTheQueueSays) {
    EXPECT_EQ(diskKindOf("../../devices/pci0000:00/0000:00:17.0/ata1/host0/block/sda/sda1", "1\n"), DiskKind::rotating);
    EXPECT_EQ(diskKindOf("../../devices/pci0000:00/0000:01:00.0/nvme/nvme0/nvme0n1", "0\n"), DiskKind::solid);
    EXPECT_EQ(diskKindOf("", ""), DiskKind::unknown);
    EXPECT_EQ(diskKindOf("../../devices/odd", "maybe"), DiskKind::unknown);
}

TEST(DiskKind, believesNoVirtualDiskThatItRotates) {
    EXPECT_EQ(diskKindOf("../../devices/pci0000:00/0000:00:02.0/virtio1/block/vda", "1\n"), DiskKind::unknown);
    EXPECT_EQ(diskKindOf("../../devices/pci0000:00/0000:00:02.0/virtio1/block/vda", "0\n"), DiskKind::solid);
}

TEST(DiskKind, isUnknownForWhatIsNoDisk) { EXPECT_EQ(diskKind(0), DiskKind::unknown); }

}  // namespace KestrelCore
