#include "Platform/FileLock.hpp"

#include "Base/BoundedRetry.hpp"
#include "KestrelCore/Base/PlatformError.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"

#include <cerrno>
#include <condition_variable>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <tuple>

// `flock` locks the open file, not the process as `fcntl` does: two holders in one process exclude each other, and
// closing another descriptor of the same file releases nothing.

namespace KestrelCore {
namespace {

FileDescriptor openLockFile(const std::string& path) {
    constexpr int flags = O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    FileDescriptor file{open(path.c_str(), O_RDWR | flags, S_IRUSR | S_IWUSR)};
    // Another user's file, or one on a volume that is read-only by now, can still be locked.
    if (!file.isOpen() && (errno == EACCES || errno == EROFS)) {
        file = FileDescriptor{open(path.c_str(), O_RDONLY | (flags & ~O_CREAT))};
    }
    if (!file.isOpen()) throw PlatformError::posix(errno);
    struct stat status;
    if (fstat(file.get(), &status) != 0) throw PlatformError::posix(errno);
    if (!S_ISREG(status.st_mode)) throw PlatformError::posix(EINVAL);
    // Whoever can open the file for reading can hold the lock, and keep us out for good.
    if (status.st_uid == geteuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        std::ignore = fchmod(file.get(), status.st_mode & S_IRWXU);
    }
    return file;
}

/// Whether `file` is still what the path names: the file may have been deleted while we waited for it.
bool isStill(const std::string& path, const FileDescriptor& file) {
    struct stat held;
    struct stat named;
    return fstat(file.get(), &held) == 0 && lstat(path.c_str(), &named) == 0 && held.st_dev == named.st_dev &&
           held.st_ino == named.st_ino;
}

/// False when another holder has it.
bool lockNow(const FileDescriptor& file) {
    if (repeatedWhenInterrupted([&] { return flock(file.get(), LOCK_EX | LOCK_NB); }) == 0) return true;
    if (errno == EWOULDBLOCK) return false;
    throw PlatformError::posix(errno);
}

/// Waits in the system's queue, so that whoever came first is served first; asking again and again could lose for ever
/// against a holder that lets go only for a moment. There is no `flock` with a time limit, so a thread of its own
/// waits: when the time is up it is left behind, and lets go of the lock as soon as it gets it. On success `file` holds
/// it.
bool lockUntil(FileDescriptor& file, std::chrono::steady_clock::time_point deadline) {
    struct Wait {
        std::mutex mutex;
        std::condition_variable ended;
        FileDescriptor file;
        std::optional<int> error;  ///< 0 for the lock
        bool isAbandoned = false;
    };
    const auto wait = std::make_shared<Wait>();
    wait->file = std::move(file);
    const auto waitInQueue = [wait, deadline, descriptor = wait->file.get()] {
        int error = 0;
        while (flock(descriptor, LOCK_EX) != 0) {
            error = errno;
            // Signals may come as often as they like while there is time; nobody waits for what comes after it.
            if (error != EINTR || std::chrono::steady_clock::now() >= deadline) break;
            error = 0;
        }
        const std::lock_guard guard{wait->mutex};
        wait->error = error;
        if (wait->isAbandoned) wait->file.close();
        wait->ended.notify_one();
    };
    try {
        std::thread{waitInQueue}.detach();
    } catch (const std::system_error&) {
        // No thread to be had: then asking again and again must do.
        file = std::move(wait->file);
        while (!lockNow(file)) {
            if (std::chrono::steady_clock::now() >= deadline) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds{10});
        }
        return true;
    }
    std::unique_lock guard{wait->mutex};
    if (!wait->ended.wait_until(guard, deadline, [&] { return wait->error.has_value(); })) {
        wait->isAbandoned = true;
        return false;
    }
    if (*wait->error != 0) throw PlatformError::posix(*wait->error);
    file = std::move(wait->file);
    return true;
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
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (true) {
        FileDescriptor file = openLockFile(path);
        // Without time to wait nobody is left in the queue, who would hold the lock for a moment when it becomes free.
        const bool mayWait = patience > std::chrono::milliseconds::zero();
        if (!lockNow(file) && !(mayWait && lockUntil(file, deadline))) return std::nullopt;
        // Else the file was deleted, and others lock the one that took its place: once more, with that.
        if (isStill(path, file)) return FileLock{std::make_unique<State>(State{std::move(file)})};
    }
}

}  // namespace KestrelCore
