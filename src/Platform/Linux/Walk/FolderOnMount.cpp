#include "Platform/POSIX/Walk/FolderOnMount.hpp"

#include "Base/BoundedRetry.hpp"
#include "Platform/Linux/SystemFile.hpp"

#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <linux/openat2.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <system_error>
#include <utility>

// The kernel can promise for one step that neither a link nor a mount stands there (`openat2`). Where the call is
// missing, the folder is opened and then compared.

namespace KestrelCore {

namespace {

/// The folder, unless it lies on another device than its parent: subvolumes of some file systems begin without a mount.
FileDescriptor onSameDevice(FileDescriptor folder, int parent, int& errorNumber) {
    struct stat own {};
    struct stat above {};
    if (::fstat(folder.get(), &own) != 0 || ::fstat(parent, &above) != 0) {
        errorNumber = errno;
        return {};
    }
    if (own.st_dev == above.st_dev) return folder;
    errorNumber = EXDEV;
    return {};
}

/// Without `openat2` (kernels before 5.6, some sandboxes) the mount is compared after opening.
FileDescriptor openFolderAndCompareMount(int parent, const std::string& name, std::uint64_t parentMount,
                                         int& errorNumber) {
    FileDescriptor folder{repeatedWhenInterrupted(
        [&] { return ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); })};
    if (!folder.isOpen()) {
        errorNumber = errno;
        return {};
    }
    const auto wanted = parentMount != 0 ? std::optional<std::uint64_t>{parentMount} : mountIdentifier(parent);
    const auto found = mountIdentifier(folder.get());
    if (wanted && found && *wanted == *found) return onSameDevice(std::move(folder), parent, errorNumber);
    // A system that tells no mount is one where nothing can be entered safely.
    errorNumber = wanted && found ? EXDEV : ENOSYS;
    return {};
}

}  // namespace

std::optional<std::uint64_t> mountIdentifier(int descriptor) {
#ifdef STATX_MNT_ID
    struct statx status {};
    if (::statx(descriptor, "", AT_EMPTY_PATH, STATX_MNT_ID, &status) == 0 && (status.stx_mask & STATX_MNT_ID) != 0)
        return status.stx_mnt_id;
#endif
    // Kernels before 5.8 tell it here only.
    const auto text = SystemFile::contents("/proc/self/fdinfo/" + std::to_string(descriptor));
    if (!text) return std::nullopt;
    constexpr std::string_view key = "mnt_id:";
    std::size_t at = text->find(key);
    if (at == std::string::npos) return std::nullopt;
    at = text->find_first_not_of(" \t", at + key.size());
    if (at == std::string::npos) return std::nullopt;
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text->data() + at, text->data() + text->size(), number);
    if (error != std::errc{}) return std::nullopt;
    return number;
}

FileDescriptor openFolderOnSameMount(int parent, const std::string& name, std::uint64_t parentMount, int& errorNumber) {
    open_how how{};
    how.flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    // One component is resolved here, but it may be a link, a mount, or one of the links of /proc that lead anywhere.
    how.resolve = RESOLVE_NO_SYMLINKS | RESOLVE_NO_XDEV | RESOLVE_NO_MAGICLINKS;
    // EAGAIN: something was renamed or mounted meanwhile, and the kernel can't tell whether that matters.
    const long descriptor =
        repeatedWhile([](int error) { return error == EINTR || error == EAGAIN; },
                      [&] { return ::syscall(SYS_openat2, parent, name.c_str(), &how, sizeof how); });
    if (descriptor >= 0) return onSameDevice(FileDescriptor{static_cast<int>(descriptor)}, parent, errorNumber);
    errorNumber = errno;
    // The last three are how a system says that it does not know the call, or these flags.
    if (errorNumber == ENOSYS || errorNumber == EPERM || errorNumber == EINVAL || errorNumber == E2BIG)
        return openFolderAndCompareMount(parent, name, parentMount, errorNumber);
    return {};
}

}  // namespace KestrelCore
