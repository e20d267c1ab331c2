#include "Platform/macOS/Walk/Portable/VolumeCrossing.hpp"

#include <algorithm>
#include <array>

namespace KestrelCore {

namespace {

/// Their files are answers of the kernel. What is mounted by being looked at stays away, too.
bool isOfTheKernel(std::string_view kind) {
    constexpr std::array<std::string_view, 4> kinds{"devfs", "autofs", "fdesc", "procfs"};
    return std::ranges::find(kinds, kind) != kinds.end();
}

}  // namespace

VolumeCrossing::VolumeCrossing(MountCrossing crossing, VolumeTable table, std::string root, std::string_view realRoot,
                               const FileStatus& status)
    : crossing_{crossing}, table_{std::move(table)}, root_{std::move(root)}, seenRoot_{table_.seen(realRoot)} {
    met_.emplace(status.device, status.inode);
}

std::optional<TraversalMount> VolumeCrossing::enter(const MountCrossingPlace& place) {
    // The table names places without links, and the root may have been given through one.
    const std::string_view below = place.path.substr(root_ == "/" ? 0 : root_.size());
    const std::string path = seenRoot_ == "/" ? std::string{below} : seenRoot_ + std::string{below};
    const MountedFileSystem* mounted = table_.at(table_.seen(path));
    if (mounted == nullptr) mounted = table_.at(path);
    if (mounted == nullptr) mounted = table_.withDevice(place.folder.device);
    if (mounted != nullptr) {
        if (crossing_ == MountCrossing::exceptKernel && isOfTheKernel(mounted->kind)) return std::nullopt;
        if (table_.isSeenElsewhere(*mounted, seenRoot_)) return std::nullopt;
    }
    if (!met_.emplace(place.folder.device, place.folder.inode).second) return std::nullopt;
    if (mounted == nullptr) return TraversalMount{};
    return TraversalMount{.path = {}, .kind = mounted->kind, .isRemote = !mounted->isLocal};
}

}  // namespace KestrelCore
