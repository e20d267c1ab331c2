#include "Platform/macOS/Volumes/Portable/VolumeTable.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

namespace KestrelCore {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// As the system has it, but for the lines in the middle, which nobody understands.
constexpr const char* firmlinkText = "/AppleInternal\tAppleInternal\n"
                                     "/Applications\tApplications\n"
                                     "/Library\tLibrary\n"
                                     "/System/Library/Caches\tSystem/Library/Caches\n"
                                     "no tab\n"
                                     "relative\tRelative\n"
                                     "/up\t../outside\n"
                                     "/\t\n"
                                     "\n"
                                     "/Users\tUsers\n"
                                     "/Volumes\tVolumes\n"
                                     "/private\tprivate\n"
                                     "/usr/local\tusr/local\n"
                                     "/usr/libexec/cups\tusr/libexec/cups";

struct MadeMount {
    const char* point;
    const char* source;
    const char* kind;
    std::uint32_t device;
    std::uint32_t flags;
    std::uint32_t furtherFlags = 0;
};

/// One record of a volume of 1000 blocks of 4096 bytes, of which 250 are free and 200 may be taken.
std::string recordBytes(const MadeMount& mount) {
    std::string bytes(mountRecordBytes, '\0');
    const auto put = [&bytes](std::size_t offset, auto value) {
        std::memcpy(bytes.data() + offset, &value, sizeof value);
    };
    put(0, std::uint32_t{4096});
    put(8, std::uint64_t{1000});
    put(16, std::uint64_t{250});
    put(24, std::uint64_t{200});
    put(48, mount.device);
    put(64, mount.flags);
    std::memcpy(bytes.data() + 72, mount.kind, std::strlen(mount.kind));
    std::memcpy(bytes.data() + 88, mount.point, std::strlen(mount.point));
    std::memcpy(bytes.data() + 1112, mount.source, std::strlen(mount.source));
    put(2136, mount.furtherFlags);
    return bytes;
}

constexpr std::uint32_t local = 0x1000;
constexpr std::uint32_t root = 0x4000;
constexpr std::uint32_t outOfSight = 0x100000;
constexpr std::uint32_t snapshot = 0x40000000;

/// A Mac with a stick, a server, an image of a simulator and two states of its data that a backup shows.
std::string recordedMounts() {
    std::string bytes;
    for (const MadeMount& mount : std::initializer_list<MadeMount>{
             {"/", "/dev/disk3s1s1", "apfs", 0x01000010, local | root | snapshot},
             {"/dev", "devfs", "devfs", 0x2d000001, local | outOfSight},
             {"/System/Volumes/VM", "/dev/disk3s6", "apfs", 0x01000011, local | outOfSight},
             {"/System/Volumes/Data", "/dev/disk3s5", "apfs", 0x01000012, local | outOfSight, 1},
             {"/System/Volumes/Data/home", "map auto_home", "autofs", 0x2d000002, outOfSight},
             {"/Volumes/Stick", "/dev/disk5s1", "exfat", 0x01000020, local},
             {"/Volumes/share", "//anna@nas/share", "smbfs", 0x2d000003, 0},
             {"/Volumes/Backup/state", "2026.backup@/dev/disk3s5", "apfs", 0x01000030, local | snapshot},
             {"/System/Volumes/Data/Users/anna/disk", "/dev/disk6s1", "hfs", 0x01000040, local},
             {"/private/var/folders/x/d/Wrapper", "/Users/anna/App.app", "nullfs", 0x2d000004, local | outOfSight}})
        bytes += recordBytes(mount);
    return bytes;
}

VolumeTable table() { return {readMountedFileSystems(recordedMounts()), Firmlinks::parse(firmlinkText)}; }

std::vector<std::string> pathsBelow(std::string_view folder) {
    std::vector<std::string> result;
    const auto layout = table().layoutAt(folder);
    if (!layout) return {"absent"};
    for (const FileSystemMount& mount : layout->below) result.push_back(mount.path);
    return result;
}

}  // namespace

TEST(MountedFileSystems, areReadFromRecords) {
    const std::vector<MountedFileSystem> found = readMountedFileSystems(recordedMounts());
    ASSERT_EQ(found.size(), 10U);
    const MountedFileSystem first{.point = "/",
                                  .source = "/dev/disk3s1s1",
                                  .kind = "apfs",
                                  .device = 0x01000010,
                                  .blockBytes = 4096,
                                  .blocks = 1000,
                                  .freeBlocks = 250,
                                  .availableBlocks = 200,
                                  .isLocal = true,
                                  .isRoot = true,
                                  .isSnapshot = true};
    EXPECT_EQ(found[0], first);
    EXPECT_TRUE(found[3].isDataOfRoot && found[3].isOutOfSight && !found[3].isRoot);
    EXPECT_FALSE(found[6].isLocal);
}

TEST(MountedFileSystems, endWhereTheBytesDo) {
    const std::string bytes = recordedMounts();
    for (std::size_t length = 0; length <= bytes.size(); length += 271) {
        EXPECT_EQ(readMountedFileSystems(std::string_view{bytes}.substr(0, length)).size(), length / mountRecordBytes);
    }
    // Texts that nothing ends go as far as their fields, and what is mounted nowhere is left out.
    const std::vector<MountedFileSystem> full = readMountedFileSystems(std::string(2 * mountRecordBytes, '/'));
    ASSERT_EQ(full.size(), 2U);
    EXPECT_EQ(full[0].kind, std::string(16, '/'));
    EXPECT_EQ(full[0].point.size(), 1024U);
    EXPECT_THAT(readMountedFileSystems(std::string(mountRecordBytes, 'x')), IsEmpty());
}

TEST(MountedFileSystems, boundTheRoomThatTheyClaim) {
    EXPECT_EQ(bytesOfBlocks(3, 512), 1536);
    EXPECT_EQ(bytesOfBlocks(3, 0), 0);
    EXPECT_GT(bytesOfBlocks(~std::uint64_t{0}, ~std::uint64_t{0}), std::int64_t{1} << 60);
}

TEST(Firmlinks, areReadLineByLine) {
    const Firmlinks firmlinks = Firmlinks::parse(firmlinkText);
    std::vector<std::string> places;
    for (const Firmlinks::Link& link : firmlinks.links) {
        places.push_back(link.place);
        EXPECT_EQ(link.folder, link.place);
    }
    EXPECT_THAT(places, ElementsAre("/AppleInternal", "/Applications", "/Library", "/System/Library/Caches", "/Users",
                                    "/Volumes", "/private", "/usr/local", "/usr/libexec/cups"));
    const std::string_view text{firmlinkText};
    for (std::size_t length = 0; length <= text.size(); ++length)
        EXPECT_LE(Firmlinks::parse(text.substr(0, length)).links.size(), places.size());
    EXPECT_THAT(Firmlinks::parse(std::string_view{"/a\0b\ta\0b\n", 9}).links, IsEmpty());
}

TEST(Firmlinks, sayWherePeopleSeeWhatIsOnTheDataVolume) {
    const Firmlinks firmlinks = Firmlinks::parse(firmlinkText);
    const auto seen = [&](std::string_view path) { return firmlinks.seen(path, "/System/Volumes/Data"); };
    EXPECT_EQ(seen("/System/Volumes/Data/Users"), "/Users");
    EXPECT_EQ(seen("/System/Volumes/Data/Users/anna/f"), "/Users/anna/f");
    EXPECT_EQ(seen("/System/Volumes/Data/usr/local/bin"), "/usr/local/bin");
    for (const char* path : {"/System/Volumes/Data", "/System/Volumes/Data/home", "/System/Volumes/Data/UsersOld",
                             "/System/Volumes/DataOld/Users", "/Users/anna", "/"})
        EXPECT_EQ(seen(path), path);
    EXPECT_EQ(firmlinks.seen("/Users", ""), "/Users");
    EXPECT_TRUE(firmlinks.isAnyBelow("/"));
    EXPECT_TRUE(firmlinks.isAnyBelow("/System"));
    EXPECT_TRUE(firmlinks.isAnyBelow("/Users"));
    EXPECT_FALSE(firmlinks.isAnyBelow("/System/Volumes"));
    EXPECT_FALSE(firmlinks.isAnyBelow("/Users/anna"));
}

TEST(VolumeTable, seesWhatAWalkMeetsElsewhere) {
    const VolumeTable volumes = table();
    const auto isSeen = [&](std::string_view place, std::string_view from) {
        const MountedFileSystem* mounted = volumes.at(place);
        return mounted != nullptr && volumes.isSeenElsewhere(*mounted, from);
    };
    EXPECT_TRUE(isSeen("/System/Volumes/Data", "/"));
    EXPECT_TRUE(isSeen("/System/Volumes/Data", "/System"));
    EXPECT_FALSE(isSeen("/System/Volumes/Data", "/System/Volumes"));
    EXPECT_TRUE(isSeen("/Volumes/Backup/state", "/Volumes"));
    EXPECT_TRUE(isSeen("/private/var/folders/x/d/Wrapper", "/"));
    EXPECT_FALSE(isSeen("/private/var/folders/x/d/Wrapper", "/private/var"));
    for (const char* place : {"/", "/System/Volumes/VM", "/Volumes/Stick", "/Volumes/share", "/Users/anna/disk"}) {
        EXPECT_NE(volumes.at(place), nullptr) << place;
        EXPECT_FALSE(isSeen(place, "/")) << place;
    }
    EXPECT_EQ(volumes.holding("/Users/anna/disk/f"), volumes.at("/Users/anna/disk"));
    EXPECT_EQ(volumes.holding("/Users/anna/f"), volumes.at("/"));
    EXPECT_EQ(volumes.withDevice(0x01000020), volumes.at("/Volumes/Stick"));
    EXPECT_EQ(volumes.withDevice(7), nullptr);
    // Without the text, "/" is still no reason to walk the data volume twice.
    const VolumeTable bare{readMountedFileSystems(recordedMounts()), {}};
    EXPECT_TRUE(bare.isSeenElsewhere(*bare.at("/System/Volumes/Data"), "/"));
}

TEST(VolumeTable, tellsTheTopOfAFileSystemAndWhatIsBelow) {
    EXPECT_THAT(pathsBelow("/"), ElementsAre("/dev", "/System/Volumes/VM", "/System/Volumes/Data/home",
                                             "/Volumes/Stick", "/Volumes/share", "/Users/anna/disk"));
    EXPECT_THAT(pathsBelow("/Volumes/Stick"), IsEmpty());
    EXPECT_THAT(pathsBelow("/Users"), ElementsAre("absent"));
    EXPECT_THAT(pathsBelow("/private/var/folders/x/d/Wrapper"), ElementsAre("absent"));
    EXPECT_TRUE(table().layoutAt("/")->sharesRoom);
    EXPECT_FALSE(table().layoutAt("/Volumes/Stick")->sharesRoom);
}

TEST(VolumeTable, listsVolumesOnDisksThatAreForPeople) {
    std::vector<std::string> found;
    for (const MountedVolume& volume : table().volumes(64)) found.push_back(volume.mountPoint.string());
    EXPECT_THAT(found, ElementsAre("/", "/Volumes/Stick", "/Users/anna/disk"));
    const std::vector<MountedVolume> one = table().volumes(1);
    ASSERT_EQ(one.size(), 1U);
    EXPECT_EQ(one[0].totalBytes, 4'096'000);
    EXPECT_EQ(one[0].freeBytes, 1'024'000);
    EXPECT_EQ(one[0].availableBytes, 819'200);
    EXPECT_EQ(one[0].device.string(), "/dev/disk3s1s1");
}

}  // namespace KestrelCore
