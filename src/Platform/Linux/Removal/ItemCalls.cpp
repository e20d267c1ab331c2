#include "Platform/POSIX/Removal/ItemCalls.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

#ifndef RENAME_NOREPLACE
#define RENAME_NOREPLACE 1
#endif

namespace KestrelCore {

FileDescriptor openFolderToPass(int parent, const std::string& name) {
    return FileDescriptor{::openat(parent, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
}

FileDescriptor openStandIn(int folder, const std::string& name) {
    return FileDescriptor{::openat(folder, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC)};
}

std::optional<struct stat> statusIn(int folder, const std::string& name) {
    struct stat status {};
    if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) != 0) return std::nullopt;
    return status;
}

std::optional<struct stat> askedStatusIn(int folder, const std::string& name) {
    struct statx synced {};
    constexpr int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_STATX_FORCE_SYNC;
    if (::statx(folder, name.c_str(), flags, STATX_BASIC_STATS, &synced) != 0 && errno != ENOSYS) return std::nullopt;
    return statusIn(folder, name);
}

int renameWithoutReplacing(int fromFolder, const std::string& from, int toFolder, const std::string& to) {
    const long result = ::syscall(SYS_renameat2, fromFolder, from.c_str(), toFolder, to.c_str(),
                                  static_cast<unsigned>(RENAME_NOREPLACE));
    return result == 0 ? 0 : errno;
}

bool isRenameUnavailable(int errorNumber) {
    return errorNumber == EXDEV || errorNumber == ENOSPC || errorNumber == EDQUOT || errorNumber == EINVAL ||
           errorNumber == ENOSYS;
}

bool isFolderRefusal(int errorNumber, int, const std::string&) { return errorNumber == EISDIR; }

bool mayListingsSkipBehindRemovals() { return false; }

std::string pathOfDescriptor(int descriptor, const std::string& otherwise) {
    std::error_code error;
    const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error);
    return error ? otherwise : path.string();
}

// ".Trash" and ".Trash-1000".
bool isVolumeTrashName(std::string_view name) {
    if (name == ".Trash") return true;
    constexpr std::string_view prefix = ".Trash-";
    if (!name.starts_with(prefix) || name.size() == prefix.size()) return false;
    return std::all_of(name.begin() + prefix.size(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace KestrelCore
