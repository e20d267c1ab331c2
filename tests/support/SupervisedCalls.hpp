#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>

namespace KestrelCore {

/// A system call that waits to be made. Its arguments may be used here as they stand: the thread that makes it belongs
/// to this process.
struct SystemCall {
    long number = 0;
    std::array<std::uint64_t, 6> arguments{};

    [[nodiscard]] int descriptor(std::size_t argument) const { return static_cast<int>(arguments[argument]); }
    [[nodiscard]] std::string text(std::size_t argument) const {
        return reinterpret_cast<const char*>(arguments[argument]);
    }
    /// Makes the call here and now. 0, or the errno value.
    int make() const;
};

/// Runs `work` on a thread of its own. Each of its calls of these kinds waits for `decide`, which runs here: an errno
/// value makes it fail with that without being made, 0 or -N makes it return 0 or N, nothing lets it be made. So a
/// fault, or what somebody else does to the disk, comes at an exact place. False where the system has no such
/// supervision.
[[nodiscard]] bool runSupervised(std::initializer_list<long> calls, const std::function<void()>& work,
                                 const std::function<std::optional<int>(const SystemCall&)>& decide);

/// Runs `work` in the same way while all its calls of these kinds are interrupted, and says how many were. After 10,000
/// they fail with EIO, so that work which would go on for ever ends and can be told by the number. Empty where the
/// system has no such supervision.
[[nodiscard]] std::optional<int> interruptions(std::initializer_list<long> calls, const std::function<void()>& work);

}  // namespace KestrelCore
