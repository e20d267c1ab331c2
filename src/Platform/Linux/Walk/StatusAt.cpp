#include "Platform/POSIX/Walk/StatusAt.hpp"

#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace KestrelCore {

namespace {

FileType typeOf(unsigned mode) noexcept {
    switch (mode & S_IFMT) {
    case S_IFREG: return FileType::regular;
    case S_IFDIR: return FileType::directory;
    case S_IFLNK: return FileType::symbolicLink;
    case S_IFIFO: return FileType::fifo;
    case S_IFSOCK: return FileType::socket;
    case S_IFCHR: return FileType::characterDevice;
    case S_IFBLK: return FileType::blockDevice;
    default: return FileType::unknown;
    }
}

/// Sizes arrive unsigned here and signed in `stat`; a negative one is huge after the conversion, so one test does both.
int setSizes(FileStatus& status, std::uint64_t size, std::uint64_t blocks) noexcept {
    constexpr std::uint64_t bytesInABlock = 512;
    if (size > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return EOVERFLOW;
    if (blocks > static_cast<std::uint64_t>(largestAllocation) / bytesInABlock) return EOVERFLOW;
    status.size = static_cast<std::int64_t>(size);
    status.allocatedBytes = static_cast<std::int64_t>(blocks * bytesInABlock);
    return 0;
}

/// For kernels, and sandboxes, that refuse `statx`.
int plainStatusAt(int folder, const char* name, int flags, FileStatus& status, std::uint64_t& mount) noexcept {
    struct stat found = {};
    if (fstatat(folder, name, &found, flags) != 0) return errno;
    status.device = found.st_dev;
    status.inode = found.st_ino;
    status.links = found.st_nlink;
    status.modifiedSeconds = found.st_mtim.tv_sec;
    status.modifiedNanoseconds = static_cast<std::uint32_t>(found.st_mtim.tv_nsec);
    status.type = typeOf(found.st_mode);
    mount = 0;
    return setSizes(status, static_cast<std::uint64_t>(found.st_size), static_cast<std::uint64_t>(found.st_blocks));
}

}  // namespace

int statusAt(int folder, const char* name, FileStatus& status, std::uint64_t& mount) noexcept {
    constexpr unsigned wanted =
        STATX_TYPE | STATX_MODE | STATX_NLINK | STATX_INO | STATX_SIZE | STATX_BLOCKS | STATX_MTIME | STATX_MNT_ID;
    const int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | (*name == '\0' ? AT_EMPTY_PATH : 0);
    struct statx found;
    // One call tells all, the mount among it. The flags keep the look from doing anything: no link is followed, and
    // what would be mounted by looking at it stays away.
    if (statx(folder, name, flags, wanted, &found) != 0) {
        if (errno == ENOSYS) return plainStatusAt(folder, name, flags, status, mount);
        return errno;
    }
    status.device = makedev(found.stx_dev_major, found.stx_dev_minor);
    status.inode = found.stx_ino;
    status.links = found.stx_nlink;
    status.modifiedSeconds = found.stx_mtime.tv_sec;
    status.modifiedNanoseconds = found.stx_mtime.tv_nsec;
    status.type = typeOf(found.stx_mode);
    mount = (found.stx_mask & STATX_MNT_ID) != 0 ? found.stx_mnt_id : 0;
    return setSizes(status, found.stx_size, found.stx_blocks);
}

FileStatusResult fileStatus(const std::string& path) {
    // The empty name means "the folder itself" to `statusAt`, and the system would not see what follows a NUL.
    if (path.empty()) return {std::nullopt, ENOENT};
    if (path.find('\0') != std::string::npos) return {std::nullopt, EINVAL};
    FileStatus status;
    std::uint64_t mount = 0;
    if (const int error = statusAt(AT_FDCWD, path.c_str(), status, mount); error != 0) return {std::nullopt, error};
    return {status, 0};
}

}  // namespace KestrelCore
