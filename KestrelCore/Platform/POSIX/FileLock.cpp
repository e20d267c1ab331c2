#include "KestrelCore/Platform/FileLock.hpp"

#include "KestrelCore/Platform/POSIX/FileDescriptor.hpp"
#include "KestrelCore/Platform/PlatformError.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>

// `flock` locks the open file, not the process as `fcntl` does: two holders in one process exclude each other, and
// closing another descriptor of the same file releases nothing.

namespace KestrelCore {
namespace {

FileDescriptor openLockFile(const std::string& path) {
    constexpr int flags = O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    FileDescriptor file{open(path.c_str(), O_RDWR | flags, 0666)};
    // Another user's file, or one on a volume that is read-only by now, can still be locked.
    if (!file.isOpen() && (errno == EACCES || errno == EROFS)) {
        file = FileDescriptor{open(path.c_str(), O_RDONLY | (flags & ~O_CREAT))};
    }
    if (!file.isOpen()) throw PlatformError::posix(errno);
    struct stat status;
    if (fstat(file.get(), &status) != 0) throw PlatformError::posix(errno);
    if (!S_ISREG(status.st_mode)) throw PlatformError::posix(EINVAL);
    return file;
}

/// Whether `file` is still what the path names: the file may have been deleted while we waited for it.
bool isStill(const std::string& path, const FileDescriptor& file) {
    struct stat held;
    struct stat named;
    return fstat(file.get(), &held) == 0 && lstat(path.c_str(), &named) == 0 && held.st_dev == named.st_dev &&
           held.st_ino == named.st_ino;
}

}  // namespace

struct FileLock::State {
    FileDescriptor file;  ///< closing it releases the lock
};

FileLock::FileLock(std::unique_ptr<State> state) : state_{std::move(state)} {}
FileLock::FileLock(FileLock&&) noexcept = default;
FileLock& FileLock::operator=(FileLock&&) noexcept = default;
FileLock::~FileLock() = default;

std::optional<FileLock> FileLock::acquire(const std::string& path, std::chrono::milliseconds patience) {
    // There is no `flock` with a time limit, and a timer's signal would meddle with the host's: so it is asked again
    // and again, with pauses that grow to a size nobody notices.
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds longestPause{10};
    const Clock::time_point deadline = Clock::now() + patience;
    std::chrono::milliseconds pause{1};
    FileDescriptor file = openLockFile(path);
    while (true) {
        if (flock(file.get(), LOCK_EX | LOCK_NB) == 0) {
            if (isStill(path, file)) return FileLock{std::make_unique<State>(State{std::move(file)})};
            file = openLockFile(path);
            continue;
        }
        if (errno == EINTR) continue;
        if (errno != EWOULDBLOCK) throw PlatformError::posix(errno);
        if (Clock::now() >= deadline) return std::nullopt;
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, longestPause);
    }
}

}  // namespace KestrelCore
