#include "Platform/SmallFile.hpp"

#include "Base/BoundedRetry.hpp"
#include "Platform/POSIX/DescriptorContents.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/FolderCreation.hpp"

#include <climits>
#include <fcntl.h>
#include <sys/stat.h>

// These files belong to applications, and anyone may have put them there: nothing is followed, waited for or taken into
// memory that was not asked for.

namespace KestrelCore {

std::optional<std::string> readSmallFile(const Text& path, std::size_t mostBytes, FinalLink finalLink) {
    const std::optional<std::string> bytes = systemPath(path);
    if (!bytes) return std::nullopt;
    // Opening must not wait for the other end of a FIFO, and what is opened decides, not what its name meant before.
    const int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | (finalLink == FinalLink::refused ? O_NOFOLLOW : 0);
    const FileDescriptor file{repeatedWhenInterrupted([&] { return open(bytes->c_str(), flags); })};
    struct stat status;
    if (!file.isOpen() || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    if (status.st_size < 0 || static_cast<std::uint64_t>(status.st_size) > mostBytes) return std::nullopt;
    // What it claims is not what it holds: it may grow while it is read.
    return contentsOfDescriptor(file.get(), mostBytes);
}

std::optional<Text> linkTarget(const Text& path) {
    const std::optional<std::string> bytes = systemPath(path);
    if (!bytes) return std::nullopt;
    // No link that the system can follow holds more.
    std::string target(PATH_MAX, '\0');
    const ssize_t size = readlink(bytes->c_str(), target.data(), target.size());
    if (size < 0) return std::nullopt;
    target.resize(static_cast<std::size_t>(size));
    return Text{target};
}

bool isFolder(const Text& path, FinalLink finalLink) {
    const std::optional<std::string> bytes = systemPath(path);
    struct stat status;
    if (!bytes) return false;
    const int result =
        finalLink == FinalLink::followed ? stat(bytes->c_str(), &status) : lstat(bytes->c_str(), &status);
    return result == 0 && S_ISDIR(status.st_mode);
}

}  // namespace KestrelCore
