#include "Platform/Linux/Walk/MountPlan.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <sys/sysmacros.h>

namespace KestrelCore {

namespace {

template <std::size_t count>
bool isOneOf(const std::array<std::string_view, count>& kinds, std::string_view kind) {
    return std::ranges::find(kinds, kind) != kinds.end();
}

/// Their files are answers of the kernel. What is mounted by being looked at stays away, too.
bool isOfTheKernel(std::string_view kind) {
    constexpr std::array<std::string_view, 22> kinds{
        "autofs",    "binder",     "binfmt_misc", "bpf",       "cgroup", "cgroup2", "configfs", "debugfs",
        "devpts",    "efivarfs",   "fusectl",     "mqueue",    "nfsd",   "nsfs",    "proc",     "pstore",
        "hugetlbfs", "rpc_pipefs", "securityfs",  "selinuxfs", "sysfs",  "tracefs"};
    return isOneOf(kinds, kind);
}

bool isRemote(std::string_view kind) {
    constexpr std::array<std::string_view, 20> kinds{"nfs",
                                                     "nfs4",
                                                     "cifs",
                                                     "smb3",
                                                     "smbfs",
                                                     "ceph",
                                                     "afs",
                                                     "lustre",
                                                     "beegfs",
                                                     "coda",
                                                     "ncpfs",
                                                     "fuse.sshfs",
                                                     "fuse.rclone",
                                                     "fuse.s3fs",
                                                     "fuse.davfs",
                                                     "fuse.glusterfs",
                                                     "fuse.ceph",
                                                     "fuse.gvfsd-fuse",
                                                     "fuse.curlftpfs",
                                                     "fuse.smbnetfs"};
    return isOneOf(kinds, kind);
}

bool isAtOrBelow(std::string_view path, std::string_view folder) {
    if (folder == "/") return path.starts_with('/');
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

/// Where `path`, which is `from` or lies below it, is when `from` is `to`.
std::string moved(std::string_view path, std::string_view from, std::string_view to) {
    std::string_view rest = path.substr(from == "/" ? 0 : from.size());
    if (rest == "/") rest = "";
    if (rest.empty()) return std::string{to};
    return (to == "/" ? "" : std::string{to}) + std::string{rest};
}

}  // namespace

MountPlan::MountPlan(MountCrossing crossing, MountTable table, std::string_view root, const FileStatus& status)
    : crossing_{crossing}, table_{std::move(table)}, root_{root} {
    met_.emplace(status.device, status.inode);
    if (const Mount* mount = mountAt(root)) {
        rootMount_ = static_cast<std::size_t>(mount - table_.mounts.data());
        rootFolder_ = moved(root, mount->point, mount->root);
    }
}

/// The mount that is seen at the path: of several at one place the last one.
const Mount* MountPlan::mountAt(std::string_view path) const {
    const Mount* found = nullptr;
    for (const Mount& mount : table_.mounts) {
        if (isAtOrBelow(path, mount.point) && (found == nullptr || mount.point.size() >= found->point.size()))
            found = &mount;
    }
    return found;
}

const Mount* MountPlan::mountOf(const FileStatus& folder, std::uint64_t mount) const {
    if (mount != 0) return table_.find(mount);
    const std::string device = fmt::format("{}:{}", major(folder.device), minor(folder.device));
    const auto found = std::ranges::find(table_.mounts.rbegin(), table_.mounts.rend(), device, &Mount::device);
    return found == table_.mounts.rend() ? nullptr : &*found;
}

/// Whether the walk comes to the folder that this mount shows, or to one that holds it, at another place too, or the
/// mount shows the root of the walk again. Where another one shows the very same folder, the first in the table counts.
bool MountPlan::isSeenElsewhere(const Mount& mount) const {
    const Mount* const rootMount = rootMount_ ? &table_.mounts[*rootMount_] : nullptr;
    const auto showsRootAgain = [&](const Mount& each) {
        return rootMount != nullptr && &each != rootMount && each.device == rootMount->device &&
               isAtOrBelow(rootFolder_, each.root);
    };
    if (showsRootAgain(mount)) return true;
    return std::ranges::any_of(table_.mounts, [&](const Mount& other) {
        if (&other == &mount || showsRootAgain(other) || other.device != mount.device ||
            !isAtOrBelow(mount.root, other.root))
            return false;
        if (other.root == mount.root && &other > &mount) return false;
        const std::string place = moved(mount.root, other.root, other.point);
        // What lies under a further mount is not seen: a folder that is mounted on itself is seen there alone.
        return isAtOrBelow(place, root_) && mountAt(place) == &other;
    });
}

std::optional<TraversalMount> MountPlan::enter(const MountCrossingPlace& place) {
    const Mount* const found = mountOf(place.folder, place.mount);
    const std::string kind = found == nullptr ? std::string{} : found->type;
    if (crossing_ == MountCrossing::exceptKernel && isOfTheKernel(kind)) return std::nullopt;
    // A subvolume is another device on the same mount.
    const bool isMountPoint = place.mount == 0 || place.mount != place.mountAbove;
    if (found != nullptr && isMountPoint && isSeenElsewhere(*found)) return std::nullopt;
    if (!met_.emplace(place.folder.device, place.folder.inode).second) return std::nullopt;
    return TraversalMount{.path = {}, .kind = kind, .isRemote = isRemote(kind)};
}

}  // namespace KestrelCore
