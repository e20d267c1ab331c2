#pragma once

#include <unistd.h>
#include <utility>

namespace KestrelCore {

/// Owns one file descriptor and closes it; -1 owns nothing, so that the result of a failed `open` may be given as it
/// is. A close that fails is not told: on the file systems that report errors so late, whoever must know has synced
/// before.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_{descriptor} {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_{std::exchange(other.descriptor_, -1)} {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            close();
            descriptor_ = other.release();
        }
        return *this;
    }
    ~FileDescriptor() { close(); }

    [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }
    [[nodiscard]] int get() const { return descriptor_; }
    /// Gives the descriptor away.
    [[nodiscard]] int release() { return std::exchange(descriptor_, -1); }
    /// After EINTR the descriptor is closed already on the systems we know, so nothing is retried.
    void close() {
        if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
    }

private:
    int descriptor_ = -1;
};

}  // namespace KestrelCore
