#pragma once

#include <cstdint>

namespace KestrelCore {

/// Counts sizes that come from outside before anybody adds them up: whatever sum is made of what was taken, in any
/// order and of any part, stays at most `most`. A scan and the reader of saved snapshots keep to the same budget, so
/// that what the one makes the other takes.
class ByteBudget {
public:
    static constexpr std::int64_t most = std::int64_t{1} << 62;  ///< far above any disk, far below an overflow

    /// Takes `bytes` (0 or more) `times` (1 or more) over. False when that is too much; then nothing is taken.
    [[nodiscard]] bool take(std::int64_t bytes, std::int64_t times = 1) {
        if (bytes > (most - taken_) / times) return false;
        taken_ += bytes * times;
        return true;
    }

private:
    std::int64_t taken_ = 0;
};

}  // namespace KestrelCore
