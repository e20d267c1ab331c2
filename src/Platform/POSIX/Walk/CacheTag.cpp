#include "Platform/POSIX/Walk/CacheTag.hpp"

#include "Base/BoundedRetry.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/Walk/StatusAt.hpp"

#include <array>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KestrelCore {

bool isTaggedAsCache(int folder) noexcept {
    constexpr std::string_view signature = "Signature: 8a477f597d28d172789f06886806bc55";
    FileStatus status;
    std::uint64_t mount = 0;
    // Most folders have none, and what is no file must not even be opened: a tape would be wound back.
    if (statusAt(folder, cacheTagName.data(), status, mount) != 0 || status.type != FileType::regular) return false;
    if (status.size < std::ssize(signature)) return false;
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const FileDescriptor file{repeatedWhenInterrupted([&] { return openat(folder, cacheTagName.data(), flags); })};
    // It may have been replaced since.
    struct stat opened {};
    if (!file.isOpen() || fstat(file.get(), &opened) != 0 || !S_ISREG(opened.st_mode)) return false;
    std::array<char, signature.size()> beginning{};
    const ssize_t length =
        repeatedWhenInterrupted([&] { return pread(file.get(), beginning.data(), beginning.size(), 0); });
    return length == std::ssize(signature) && std::string_view{beginning.data(), beginning.size()} == signature;
}

}  // namespace KestrelCore
