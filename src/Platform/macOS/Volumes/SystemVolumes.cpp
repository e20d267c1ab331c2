#include "Platform/macOS/Volumes/SystemVolumes.hpp"

#include "Platform/POSIX/DescriptorContents.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"

#include <cstddef>
#include <fcntl.h>
#include <span>
#include <sys/mount.h>
#include <sys/param.h>
#include <utility>
#include <vector>

namespace KestrelCore {

namespace {

static_assert(sizeof(struct statfs) == mountRecordBytes);
static_assert(offsetof(struct statfs, f_blocks) == 8 && offsetof(struct statfs, f_bfree) == 16);
static_assert(offsetof(struct statfs, f_bavail) == 24 && offsetof(struct statfs, f_fsid) == 48);
static_assert(offsetof(struct statfs, f_flags) == 64 && offsetof(struct statfs, f_fstypename) == 72);
static_assert(offsetof(struct statfs, f_mntonname) == 88 && offsetof(struct statfs, f_mntfromname) == 1112);
static_assert(offsetof(struct statfs, f_flags_ext) == 2136 && MNT_EXT_ROOT_DATA_VOL == 1);
static_assert(MNT_LOCAL == 0x1000 && MNT_ROOTFS == 0x4000 && MNT_DONTBROWSE == 0x100000 && MNT_SNAPSHOT == 0x40000000);

Firmlinks systemFirmlinks() {
    constexpr std::size_t largest = std::size_t{1} << 20;
    const FileDescriptor file{::open("/usr/share/firmlinks", O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    const auto text = file.isOpen() ? contentsOfDescriptor(file.get(), largest) : std::nullopt;
    return text ? Firmlinks::parse(*text) : Firmlinks{};
}

}  // namespace

std::optional<VolumeTable> currentVolumeTable() {
    constexpr std::size_t mostMounts = 4096;
    std::vector<struct statfs> found(64);
    while (true) {
        // What each file system said last, so that one that hangs holds nobody up.
        const int count = ::getfsstat(found.data(), static_cast<int>(found.size() * sizeof found[0]), MNT_NOWAIT);
        if (count < 0) return std::nullopt;
        const auto filled = static_cast<std::size_t>(count);
        if (filled < found.size() || found.size() >= mostMounts) {
            const auto bytes = std::as_bytes(std::span{found}.first(std::min(filled, found.size())));
            return VolumeTable{readMountedFileSystems({reinterpret_cast<const char*>(bytes.data()), bytes.size()}),
                               systemFirmlinks()};
        }
        found.resize(found.size() * 2);
    }
}

}  // namespace KestrelCore
