#include "Platform/POSIX/Removal/ItemCalls.hpp"

#include "Platform/macOS/Removal/Portable/WaysToPlaces.hpp"
#include "Platform/macOS/Walk/AttributeCall.hpp"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/param.h>
#include <unistd.h>

namespace KestrelCore {

FileDescriptor openFolderToPass(int parent, const std::string& name) {
    return FileDescriptor{::openat(parent, name.c_str(), O_SEARCH | O_NOFOLLOW | O_CLOEXEC)};
}

// Every opening counts as one here: of a device it does something, of a placeholder it may fetch what it stands for.
// Nor is it needed, as a rename leaves the inode's number as it is.
FileDescriptor openStandIn(int, const std::string&) {
    errno = ENOTSUP;
    return {};
}

std::optional<struct stat> statusIn(int folder, const std::string& name) {
    struct stat status {};
    if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
    return status;
}

std::optional<struct stat> askedStatusIn(int folder, const std::string& name) { return statusIn(folder, name); }

int renameWithoutReplacing(int fromFolder, const std::string& from, int toFolder, const std::string& to) {
    // To take a folder without data into another folder, the system may fetch it first.
    const ContentStaysAway guard;
    return ::renameatx_np(fromFolder, from.c_str(), toFolder, to.c_str(), RENAME_EXCL) == 0 ? 0 : errno;
}

/// ENOTSUP is how a file system says that it can't promise to replace nothing.
bool isRenameUnavailable(int errorNumber) {
    return errorNumber == EXDEV || errorNumber == ENOSPC || errorNumber == EDQUOT || errorNumber == EINVAL ||
           errorNumber == ENOSYS || errorNumber == ENOTSUP;
}

/// EPERM may as well mean that the item is locked: only a look tells.
bool isFolderRefusal(int errorNumber, int folder, const std::string& name) {
    if (errorNumber != EPERM && errorNumber != EISDIR) return false;
    const auto status = statusIn(folder, name);
    return status && S_ISDIR(status->st_mode);
}

bool mayListingsSkipBehindRemovals() { return true; }

std::string pathOfDescriptor(int descriptor, const std::string& otherwise) {
    std::array<char, MAXPATHLEN> path{};
    return ::fcntl(descriptor, F_GETPATH, path.data()) == 0 ? std::string{path.data()} : otherwise;
}

bool isVolumeTrashName(std::string_view name) { return isTrashesName(name); }

}  // namespace KestrelCore
