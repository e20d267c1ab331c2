#include "Platform/Linux/Sensors/DiskText.hpp"

#include "Platform/Linux/TextFields.hpp"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <limits>

namespace KestrelCore::DiskText {
namespace {

/// The kernel counts in sectors of this size, whatever the disk's own are.
constexpr std::uint64_t bytesPerSector = 512;

std::uint64_t bytesOf(std::uint64_t sectors) {
    return std::min(sectors, std::numeric_limits<std::uint64_t>::max() / bytesPerSector) * bytesPerSector;
}

/// File systems that span disks, and so have a device number that belongs to none.
constexpr std::array<std::string_view, 3> spanningTypes{"btrfs", "zfs", "bcachefs"};
constexpr std::array<std::string_view, 4> imageTypes{"squashfs", "erofs", "iso9660", "cramfs"};

bool isVolume(const Mount& mount) {
    if (std::ranges::find(imageTypes, mount.type) != imageTypes.end()) return false;
    // A container's "/" is made of layers, and is what everything there lies on.
    if (mount.point == "/") return true;
    if (std::ranges::find(spanningTypes, mount.type) != spanningTypes.end()) return true;
    // Major number 0 is for what is on no disk: networks, programs, the kernel's own. A program may also stand between
    // a disk and its mount; then the program would be asked.
    return !mount.device.starts_with("0:") && !mount.type.starts_with("fuse");
}

}  // namespace

std::vector<Line> diskStatistics(std::string_view text) {
    std::vector<Line> result;
    for (TextFields lines{text}; !lines.isAtEnd();) {
        TextFields line{lines.line()};
        const auto major = line.number<std::uint32_t>();
        const auto minor = line.number<std::uint32_t>();
        const std::string_view name = line.word();
        line.skipWords(2);  // reads, reads merged
        const auto readSectors = line.number<std::uint64_t>();
        line.skipWords(3);  // milliseconds, writes, writes merged
        const auto writtenSectors = line.number<std::uint64_t>();
        if (!major || !minor || name.empty() || !readSectors || !writtenSectors) continue;
        result.push_back({.device = fmt::format("{}:{}", *major, *minor),
                          .name = std::string{name},
                          .readBytes = bytesOf(*readSectors),
                          .writtenBytes = bytesOf(*writtenSectors)});
    }
    return result;
}

std::vector<const Mount*> volumesOf(const MountTable& table, std::size_t most) {
    std::vector<const Mount*> result;
    for (const Mount& mount : table.mounts) {
        if (!isVolume(mount)) continue;
        const auto same = std::ranges::find(result, mount.device, [](const Mount* kept) { return kept->device; });
        if (same == result.end()) {
            if (result.size() < most) result.push_back(&mount);
        } else if ((*same)->root != "/" && mount.root == "/") {
            *same = &mount;  // a folder of it was mounted elsewhere before
        }
    }
    return result;
}

}  // namespace KestrelCore::DiskText
