#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace KestrelCore {

/// What one unit of Mach time is: `numerator`/`denominator` nanoseconds. A nanosecond on Intel processors, 125/3 on
/// Apple's.
struct MachTimebase {
    std::uint32_t numerator = 1;
    std::uint32_t denominator = 1;
};

/// That of a counter with so many units in a second; absent for 0 and for more than 32 bits.
[[nodiscard]] std::optional<MachTimebase> timebaseOfFrequency(std::uint64_t unitsInASecond);

/// Processor times as nanoseconds, rounded down; the largest value for what does not fit. A timebase without a
/// denominator, which no machine has, leaves the number as it is.
[[nodiscard]] std::chrono::duration<std::uint64_t, std::nano> fromMachTime(std::uint64_t units, MachTimebase timebase);

}  // namespace KestrelCore
