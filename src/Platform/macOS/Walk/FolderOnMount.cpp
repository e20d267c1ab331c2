#include "Platform/POSIX/Walk/FolderOnMount.hpp"

#include "Base/BoundedRetry.hpp"
#include "Platform/macOS/Walk/AttributeCall.hpp"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/param.h>
#include <sys/stat.h>

// No call promises here that nothing is mounted where a folder stands, so it is opened and then compared. The parts of
// the volume that the system starts from share a device number and are two mounts; so both numbers must be the same.

namespace KestrelCore {

std::optional<std::uint64_t> mountIdentifier(int descriptor) {
    struct statfs found {};
    if (repeatedWhenInterrupted([&] { return ::fstatfs(descriptor, &found); }) != 0) return std::nullopt;
    std::uint64_t identifier = 0;
    static_assert(sizeof identifier == sizeof found.f_fsid);
    std::memcpy(&identifier, &found.f_fsid, sizeof identifier);
    return identifier;
}

FileDescriptor openFolderOnSameMount(int parent, const std::string& name, std::uint64_t parentMount, int& errorNumber) {
    const ContentStaysAway guard;
    FileDescriptor folder{repeatedWhenInterrupted(
        [&] { return ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); })};
    struct stat own {};
    struct stat above {};
    if (!folder.isOpen() || ::fstat(folder.get(), &own) != 0 || ::fstat(parent, &above) != 0) {
        errorNumber = errno;
        return {};
    }
    const auto wanted = parentMount != 0 ? std::optional{parentMount} : mountIdentifier(parent);
    const auto found = mountIdentifier(folder.get());
    if (wanted && wanted == found && own.st_dev == above.st_dev) return folder;
    errorNumber = wanted && found ? EXDEV : ENOTSUP;
    return {};
}

}  // namespace KestrelCore
