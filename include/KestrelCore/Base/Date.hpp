#pragma once

#include "KestrelCore/Export.hpp"

#include <compare>
#include <cstdint>
#include <functional>
#include <string>

namespace KestrelCore {

/// A point in time: seconds since 2001-01-01 00:00:00 UTC, leap seconds not counted. Compares and hashes as that
/// double, which tells microseconds apart for a century around the year 2001. Not a number is possible in a stored
/// date; it equals nothing, and no JSON holds it.
struct KESTRELCORE_EXPORT Date {
    double secondsSinceReferenceDate = 0;

    /// Seconds from 1970-01-01 to 2001-01-01, both 00:00:00 UTC.
    static constexpr double secondsFrom1970ToReference = 978307200.0;

    /// Wall-clock time; steps when the clock is set.
    [[nodiscard]] static Date now();
    [[nodiscard]] static constexpr Date since1970(double seconds) { return Date{seconds - secondsFrom1970ToReference}; }
    /// From a file time: the fraction is added before the epoch is changed, so that equal inputs give equal dates.
    [[nodiscard]] static constexpr Date fromFileTime(std::int64_t seconds, std::int64_t nanoseconds) {
        return since1970(static_cast<double>(seconds) + static_cast<double>(nanoseconds) / 1e9);
    }
    /// Earlier and later than every date in use: the end of the year 0, and the year 4001. They stand for "always" and
    /// "never" in comparisons.
    [[nodiscard]] static constexpr Date distantPast() { return Date{-63114076800.0}; }
    [[nodiscard]] static constexpr Date distantFuture() { return Date{63113904000.0}; }

    [[nodiscard]] constexpr double secondsSince1970() const {
        return secondsSinceReferenceDate + secondsFrom1970ToReference;
    }
    [[nodiscard]] constexpr Date addingSeconds(double seconds) const {
        return Date{secondsSinceReferenceDate + seconds};
    }
    /// RFC 3339 in UTC, rounded to milliseconds, which are written where they are not zero, such as
    /// "2026-11-21T09:30:00Z"; years beyond 0000–9999 are clamped to that range, what is no number becomes 1970.
    [[nodiscard]] std::string rfc3339() const;

    auto operator<=>(const Date&) const = default;
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::Date> {
    std::size_t operator()(const KestrelCore::Date& value) const noexcept {
        return std::hash<double>{}(value.secondsSinceReferenceDate);
    }
};
