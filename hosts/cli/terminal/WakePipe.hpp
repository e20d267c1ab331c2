#pragma once

#include <atomic>

namespace KestrelCLI {

/// What wakes a thread that waits for descriptors to become readable.
class WakePipe {
public:
    /// Throws `std::system_error`.
    WakePipe();
    WakePipe(const WakePipe&) = delete;
    WakePipe& operator=(const WakePipe&) = delete;
    ~WakePipe();

    /// From any thread and any signal handler; several calls before `take` are one.
    void wake();
    /// Whether `wake` was called since it was asked last.
    [[nodiscard]] bool take();
    /// Readable when `take` would say yes.
    [[nodiscard]] int descriptor() const { return ends_[0]; }

private:
    int ends_[2] = {-1, -1};  ///< to read from, to write to
    std::atomic<bool> isWoken_{false};
};

}  // namespace KestrelCLI
