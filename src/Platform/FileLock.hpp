#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace KestrelCore {

/// Holds an exclusive advisory lock on a file of its own, until it is destroyed. It excludes other processes as well as
/// other holders in this one; it protects nothing from those who do not ask. The file stays behind, empty.
class FileLock {
public:
    /// Takes the lock on the file at `path` (raw bytes; made when missing, kept from other users, never followed as a
    /// link, never waited for as a pipe), waiting at most `patience`. Empty when another holder keeps it that long.
    /// Throws `PlatformError` (POSIX) when there can be no such lock. Any thread.
    [[nodiscard]] static std::optional<FileLock> acquire(const std::string& path, std::chrono::milliseconds patience);

    /// What was moved from holds nothing. Destroying a lock, or assigning over it, lets go of the file at once.
    FileLock(FileLock&&) noexcept;
    FileLock& operator=(FileLock&&) noexcept;
    ~FileLock();

private:
    struct State;
    explicit FileLock(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};

}  // namespace KestrelCore
