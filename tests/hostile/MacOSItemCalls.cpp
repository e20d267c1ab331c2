// What macOS's file systems answer where they differ from Linux's, given by Linux: linked in the place of the calls of
// this system, it lets what both systems share of a removal be attacked here as it runs there.
//
//     KESTREL_RENAMES=unsupported    a file system that can't promise to replace nothing
//     KESTREL_RENAMES=dataless       an item whose content would be fetched to take it into another folder

#include "Platform/POSIX/Removal/ItemCalls.hpp"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace KestrelCore {

FileDescriptor openFolderToPass(int parent, const std::string& name) {
    return FileDescriptor{::openat(parent, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
}

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
    const char* renames = std::getenv("KESTREL_RENAMES");
    if (renames != nullptr && std::string_view{renames} == "unsupported") return ENOTSUP;
    if (renames != nullptr && std::string_view{renames} == "dataless" && fromFolder != toFolder) return EDEADLK;
    constexpr unsigned noReplace = 1;
    return ::syscall(SYS_renameat2, fromFolder, from.c_str(), toFolder, to.c_str(), noReplace) == 0 ? 0 : errno;
}

bool isRenameUnavailable(int errorNumber) {
    return errorNumber == EXDEV || errorNumber == ENOSPC || errorNumber == EDQUOT || errorNumber == EINVAL ||
           errorNumber == ENOSYS || errorNumber == ENOTSUP;
}

bool isFolderRefusal(int errorNumber, int folder, const std::string& name) {
    if (errorNumber != EPERM && errorNumber != EISDIR) return false;
    const auto status = statusIn(folder, name);
    return status && S_ISDIR(status->st_mode);
}

bool mayListingsSkipBehindRemovals() { return true; }

std::string pathOfDescriptor(int descriptor, const std::string& otherwise) {
    std::error_code error;
    const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error);
    return error ? otherwise : path.string();
}

bool isVolumeTrashName(std::string_view name) { return name == ".Trash" || name.starts_with(".Trash-"); }

}  // namespace KestrelCore
