#include "Platform/POSIX/DescriptorContents.hpp"

#include "Base/BoundedRetry.hpp"

#include <cerrno>
#include <unistd.h>

namespace KestrelCore {

std::optional<std::string> contentsOfDescriptor(int descriptor, std::size_t limit) {
    std::string content;
    for (;;) {
        // By what is read, not by what the file claims to hold: it may claim anything, and grow meanwhile.
        const std::size_t used = content.size();
        if (used > limit) return std::nullopt;
        constexpr std::size_t step = 16384;
        content.resize(used + step);
        const ssize_t got = repeatedWhenInterrupted([&] { return ::read(descriptor, content.data() + used, step); });
        if (got < 0) return std::nullopt;
        content.resize(used + static_cast<std::size_t>(got));
        if (got == 0) return content;
    }
}

int writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written =
            repeatedWhenInterrupted([&] { return ::write(descriptor, bytes.data(), bytes.size()); });
        if (written < 0) return errno;
        // Nothing written and no reason: asking again would be answered so again.
        if (written == 0) return EIO;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

}  // namespace KestrelCore
