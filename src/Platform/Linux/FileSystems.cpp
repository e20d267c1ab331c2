#include "Platform/FileSystems.hpp"

#include "Base/BoundedRetry.hpp"
#include "Platform/Linux/FileSystemLayout.hpp"

#include <algorithm>
#include <array>
#include <limits>
#include <set>
#include <sys/statvfs.h>

namespace KestrelCore {

namespace {

/// Blocks as bytes; a file system may claim anything.
std::int64_t bytesOf(std::uint64_t blocks, std::uint64_t blockBytes) {
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() / 4);
    if (blockBytes != 0 && blocks > largest / blockBytes) return static_cast<std::int64_t>(largest);
    return static_cast<std::int64_t>(blocks * blockBytes);
}

bool sharesRoom(std::string_view kind) {
    constexpr std::array<std::string_view, 5> kinds{"overlay", "btrfs", "zfs", "bcachefs", "aufs"};
    return std::ranges::find(kinds, kind) != kinds.end();
}

/// A bind mount shows a folder of a file system. So does a subvolume, but it is what people take for the whole.
bool isShownWhole(const Mount& mount) { return mount.root == "/" || mount.type == "btrfs"; }

}  // namespace

std::optional<FileSystemLayout> layoutAt(const MountTable& table, std::string_view folder) {
    // Of several mounts at one place the last one is seen.
    const auto top = std::find_if(table.mounts.rbegin(), table.mounts.rend(),
                                  [folder](const Mount& mount) { return mount.point == folder; });
    if (top == table.mounts.rend() || !isShownWhole(*top)) return std::nullopt;
    FileSystemLayout layout{
        .top = {.path = top->point, .kind = top->type}, .sharesRoom = sharesRoom(top->type), .below = {}};
    const std::string prefix = folder == "/" ? "/" : std::string{folder} + '/';
    std::set<std::string_view> known{top->device};
    for (const Mount& mount : table.mounts) {
        if (mount.point.size() <= prefix.size() || !mount.point.starts_with(prefix)) continue;
        const bool isCovered = std::ranges::any_of(
            table.mounts, [&](const Mount& other) { return &other > &mount && other.point == mount.point; });
        if (!isCovered && known.insert(mount.device).second)
            layout.below.push_back({.path = mount.point, .kind = mount.type});
    }
    return layout;
}

std::optional<FileSystemLayout> fileSystemAt(const std::string& folder) {
    const std::optional<MountTable> table = MountTable::current();
    return table ? layoutAt(*table, folder) : std::nullopt;
}

std::optional<FileSystemSpace> fileSystemSpace(const std::string& path) {
    struct statvfs room {};
    if (repeatedWhenInterrupted([&] { return statvfs(path.c_str(), &room); }) != 0) return std::nullopt;
    return FileSystemSpace{.totalBytes = bytesOf(room.f_blocks, room.f_frsize),
                           .freeBytes = bytesOf(room.f_bfree, room.f_frsize),
                           .availableBytes = bytesOf(room.f_bavail, room.f_frsize)};
}

}  // namespace KestrelCore
