#pragma once

#include <cstdint>

namespace KestrelCore {

/// Four pebibytes: days of the fastest link there is. A driver whose counter underflows shows steps near 2^64.
inline constexpr std::uint64_t largestCounterStep = std::uint64_t{1} << 52;

/// How many bytes were moved between two readings of a counter; 0 for what is no plausible step: a counter that went
/// backwards, or forward by more than any link can move.
[[nodiscard]] constexpr std::uint64_t counterStep(std::uint64_t before, std::uint64_t now) {
    if (now <= before || now - before > largestCounterStep) return 0;
    return now - before;
}

}  // namespace KestrelCore
