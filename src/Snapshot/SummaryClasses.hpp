#pragma once

#include "KestrelCore/Snapshot/SummaryAge.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

namespace KestrelCore {

// The classes of age and size by which files are put together: what they are called, and where they end.

inline constexpr std::int64_t secondsInDay = 86'400;
/// How long ago something was changed.
inline constexpr std::array ageClasses{
    SummaryAge{"within 30 days", 30 * secondsInDay},
    SummaryAge{"30 to 90 days", 90 * secondsInDay},
    SummaryAge{"90 days to a year", 365 * secondsInDay},
    SummaryAge{"one to three years", 1095 * secondsInDay},
    SummaryAge{"over three years", std::numeric_limits<std::int64_t>::max()},
};
/// The class behind those, of what has no date.
inline constexpr std::string_view unknownAge = "unknown";

/// What something takes on the disk.
struct SizeClass {
    std::string_view name;
    std::int64_t most;  ///< bytes
};
inline constexpr std::array sizeClasses{
    SizeClass{"nothing", 0},
    SizeClass{"up to 1 kB", 1'000},
    SizeClass{"1 to 10 kB", 10'000},
    SizeClass{"10 to 100 kB", 100'000},
    SizeClass{"100 kB to 1 MB", 1'000'000},
    SizeClass{"1 to 10 MB", 10'000'000},
    SizeClass{"10 to 100 MB", 100'000'000},
    SizeClass{"100 MB to 1 GB", 1'000'000'000},
    SizeClass{"1 to 10 GB", 10'000'000'000},
    SizeClass{"10 to 100 GB", 100'000'000'000},
    SizeClass{"over 100 GB", std::numeric_limits<std::int64_t>::max()},
};

[[nodiscard]] constexpr std::size_t sizeClassOf(std::int64_t bytes) {
    std::size_t number = 0;
    while (bytes > sizeClasses[number].most) ++number;
    return number;
}
/// `seconds` and `now` lie within 2^60 of 2001; absent for no date. A time to come is within 30 days.
[[nodiscard]] constexpr std::size_t ageClassOf(std::optional<std::int64_t> seconds, std::int64_t now) {
    if (!seconds) return ageClasses.size();
    std::size_t number = 0;
    while (now - *seconds > ageClasses[number].mostSeconds) ++number;
    return number;
}

}  // namespace KestrelCore
