#include "Platform/macOS/Processes/Portable/MachTime.hpp"

#include <limits>

namespace KestrelCore {

std::optional<MachTimebase> timebaseOfFrequency(std::uint64_t unitsInASecond) {
    if (unitsInASecond == 0 || unitsInASecond > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    return MachTimebase{.numerator = 1'000'000'000, .denominator = static_cast<std::uint32_t>(unitsInASecond)};
}

std::chrono::duration<std::uint64_t, std::nano> fromMachTime(std::uint64_t units, MachTimebase timebase) {
    using Nanoseconds = std::chrono::duration<std::uint64_t, std::nano>;
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    if (timebase.denominator == 0) return Nanoseconds{units};
    const std::uint64_t numerator = timebase.numerator;
    // Divided first, so that a long time does not overflow; the rest is below 2^64, of 32 bits times 32 bits.
    const std::uint64_t wholes = units / timebase.denominator;
    const std::uint64_t rest = units % timebase.denominator * numerator / timebase.denominator;
    if (numerator != 0 && wholes > (most - rest) / numerator) return Nanoseconds{most};
    return Nanoseconds{wholes * numerator + rest};
}

}  // namespace KestrelCore
