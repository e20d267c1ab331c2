#include "Platform/POSIX/ContentReading.hpp"

#include "Base/BoundedRetry.hpp"

#include <cerrno>
#include <fcntl.h>

namespace KestrelCore {

int openLeavingAccessTime(const char* path, int flags) {
    const auto openWith = [&](int more) { return repeatedWhenInterrupted([&] { return ::open(path, flags | more); }); };
    // The time of the last access is the owner's to keep.
    const int file = openWith(O_NOATIME);
    return file < 0 && errno == EPERM ? openWith(0) : file;
}

int contentObstacle(const struct stat&) { return 0; }

void expectReading(int descriptor, ReadingPattern pattern) {
    (void)posix_fadvise(descriptor, 0, 0, pattern == ReadingPattern::whole ? POSIX_FADV_SEQUENTIAL : POSIX_FADV_RANDOM);
}

void readContentAhead(int descriptor, std::int64_t offset, std::int64_t bytes) {
    (void)posix_fadvise(descriptor, offset, bytes, POSIX_FADV_WILLNEED);
}

}  // namespace KestrelCore
