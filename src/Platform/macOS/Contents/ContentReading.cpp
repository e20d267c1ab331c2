#include "Platform/POSIX/ContentReading.hpp"

#include "Base/BoundedRetry.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <limits>

namespace KestrelCore {

// There is no opening that leaves the time of the last access alone; volumes keep it coarse as a rule.
int openLeavingAccessTime(const char* path, int flags) {
    return repeatedWhenInterrupted([&] { return ::open(path, flags); });
}

/// The content of a placeholder lies with a service on the network: to read it would fetch it, and fill the disk that
/// is to be relieved.
int contentObstacle(const struct stat& status) {
    constexpr std::uint32_t dataless = 0x40000000;  // SF_DATALESS
    return (status.st_flags & dataless) != 0 ? EDEADLK : 0;
}

void expectReading(int descriptor, ReadingPattern pattern) {
    (void)::fcntl(descriptor, F_RDAHEAD, pattern == ReadingPattern::whole ? 1 : 0);
}

void readContentAhead(int descriptor, std::int64_t offset, std::int64_t bytes) {
    radvisory part{};
    part.ra_offset = offset;
    part.ra_count = static_cast<int>(std::clamp<std::int64_t>(bytes, 0, std::numeric_limits<int>::max()));
    (void)::fcntl(descriptor, F_RDADVISE, &part);
}

}  // namespace KestrelCore
