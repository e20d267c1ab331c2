#include "Platform/POSIX/DescriptorContents.hpp"

#include <cerrno>
#include <unistd.h>

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

int writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) return errno;
        if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

}  // namespace KestrelCore
