#include "Platform/macOS/Volumes/Portable/VolumeTable.hpp"

#include <algorithm>
#include <ranges>
#include <set>
#include <utility>

// A Mac starts from two volumes that look like one: what belongs to the system, sealed and mounted at "/", and what
// people put there, mounted at /System/Volumes/Data and seen through folders of the first. They, and those beside them,
// are parts of one container and share its room, so each says that all of it is free.

namespace KestrelCore {

namespace {

bool isOnDisk(const MountedFileSystem& mounted) { return mounted.isLocal && mounted.source.starts_with("/dev/disk"); }

/// A folder that is shown at a second place says which one it is.
bool showsFolder(const MountedFileSystem& mounted) { return mounted.kind == "nullfs" || mounted.kind == "bindfs"; }

}  // namespace

VolumeTable::VolumeTable(std::vector<MountedFileSystem> mounted, Firmlinks firmlinks)
    : mounted_{std::move(mounted)}, firmlinks_{std::move(firmlinks)} {
    const auto data = std::ranges::find_if(mounted_, &MountedFileSystem::isDataOfRoot);
    if (data != mounted_.end()) dataVolume_ = data->point;
    for (MountedFileSystem& each : mounted_) {
        if (!each.isDataOfRoot) each.point = seen(each.point);
    }
}

const MountedFileSystem* VolumeTable::at(std::string_view place) const {
    const auto found = std::ranges::find(mounted_.rbegin(), mounted_.rend(), place, &MountedFileSystem::point);
    return found == mounted_.rend() ? nullptr : &*found;
}

const MountedFileSystem* VolumeTable::holding(std::string_view path) const {
    const MountedFileSystem* found = nullptr;
    for (const MountedFileSystem& each : mounted_) {
        if (isAtOrBelow(path, each.point) && (found == nullptr || each.point.size() >= found->point.size()))
            found = &each;
    }
    return found;
}

const MountedFileSystem* VolumeTable::withDevice(std::uint64_t device) const {
    const auto hasNumber = [device](const MountedFileSystem& each) { return each.device == device; };
    const auto found = std::ranges::find_if(mounted_, hasNumber);
    if (found == mounted_.end() || std::find_if(found + 1, mounted_.end(), hasNumber) != mounted_.end()) return nullptr;
    return &*found;
}

bool VolumeTable::isSeenElsewhere(const MountedFileSystem& mounted, std::string_view root) const {
    if (mounted.isDataOfRoot) return firmlinks_.isAnyBelow(root) || (root == "/" && firmlinks_.links.empty());
    if (mounted.isSnapshot && !mounted.isRoot) return true;
    if (showsFolder(mounted)) return isAtOrBelow(seen(mounted.source), root);
    const auto isSame = [&](const MountedFileSystem& other) {
        return &other < &mounted && other.source == mounted.source && isAtOrBelow(other.point, root);
    };
    return isOnDisk(mounted) && std::ranges::any_of(mounted_, isSame);
}

std::optional<FileSystemLayout> VolumeTable::layoutAt(std::string_view folder) const {
    const MountedFileSystem* top = at(folder);
    if (top == nullptr || showsFolder(*top)) return std::nullopt;
    FileSystemLayout layout{
        .top = {.path = top->point, .kind = top->kind}, .sharesRoom = top->kind == "apfs", .below = {}};
    for (const MountedFileSystem& each : mounted_) {
        if (each.point.size() <= folder.size() || !isAtOrBelow(each.point, folder)) continue;
        if (at(each.point) == &each && !isSeenElsewhere(each, folder))
            layout.below.push_back({.path = each.point, .kind = each.kind});
    }
    return layout;
}

std::vector<MountedVolume> VolumeTable::volumes(std::size_t most) const {
    std::vector<MountedVolume> result;
    std::set<std::string_view> known;
    for (const MountedFileSystem& each : mounted_) {
        if (result.size() == most) break;
        // Beside the volume that the system starts from lie others that it keeps for itself, in the same room.
        const bool isForPeople = each.isRoot || !(each.isOutOfSight || each.isSnapshot || each.isDataOfRoot);
        if (!isOnDisk(each) || !isForPeople || each.blocks == 0 || !known.insert(each.source).second) continue;
        result.push_back({.mountPoint = Text{each.point},
                          .fileSystem = Text{each.kind},
                          .device = Text{each.source},
                          .counters = {},
                          .totalBytes = bytesOfBlocks(each.blocks, each.blockBytes),
                          .freeBytes = bytesOfBlocks(each.freeBlocks, each.blockBytes),
                          .availableBytes = bytesOfBlocks(each.availableBlocks, each.blockBytes)});
    }
    return result;
}

}  // namespace KestrelCore
