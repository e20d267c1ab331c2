#include "Platform/Linux/SmallFile.hpp"

#include "Platform/POSIX/FileDescriptor.hpp"

#include <cerrno>
#include <fcntl.h>

namespace KestrelCore {

std::optional<std::string> contentsOfDescriptor(int descriptor, std::size_t limit) {
    std::string content;
    for (;;) {
        const std::size_t used = content.size();
        if (used > limit) return std::nullopt;
        constexpr std::size_t step = 16384;
        content.resize(used + step);
        const ssize_t got = ::read(descriptor, content.data() + used, step);
        if (got < 0 && errno != EINTR) return std::nullopt;
        content.resize(used + static_cast<std::size_t>(got > 0 ? got : 0));
        if (got == 0) return content;
    }
}

std::optional<std::string> contentsOfSmallFile(const std::string& path) {
    const FileDescriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (!file.isOpen()) return std::nullopt;
    return contentsOfDescriptor(file.get(), std::size_t{64} << 20);
}

int writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) return errno;
        if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

}  // namespace KestrelCore
