#include "Platform/POSIX/Walk/StatusAt.hpp"

#include "Platform/macOS/Walk/Portable/BulkAttributes.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace KestrelCore {

namespace {

FileType typeOf(mode_t mode) noexcept {
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

static_assert(BulkAttributes::hiddenFlag == UF_HIDDEN);
static_assert(BulkAttributes::firmlinkFlag == SF_FIRMLINK);
static_assert(BulkAttributes::datalessFlag == SF_DATALESS);

}  // namespace

int statusAt(int folder, const char* name, FileStatus& status, std::uint64_t& mount) noexcept {
    constexpr std::int64_t bytesInABlock = 512;
    struct stat found {};
    const bool isFolderItself = *name == '\0';
    if ((isFolderItself ? fstat(folder, &found) : fstatat(folder, name, &found, AT_SYMLINK_NOFOLLOW)) != 0)
        return errno;
    // The number is signed here, and nobody adds to it or compares it but for equality.
    status.device = static_cast<std::uint32_t>(found.st_dev);
    status.inode = found.st_ino;
    status.links = found.st_nlink;
    status.modifiedSeconds = found.st_mtimespec.tv_sec;
    status.modifiedNanoseconds = static_cast<std::uint32_t>(found.st_mtimespec.tv_nsec);
    status.type = typeOf(found.st_mode);
    status.isUserHidden = (found.st_flags & UF_HIDDEN) != 0;
    status.isDataless = (found.st_flags & SF_DATALESS) != 0;
    mount = 0;
    if (found.st_size < 0 || found.st_blocks < 0 || found.st_blocks > largestAllocation / bytesInABlock)
        return EOVERFLOW;
    status.size = found.st_size;
    status.allocatedBytes = found.st_blocks * bytesInABlock;
    return 0;
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
