#pragma once

#include "KestrelCore/Base/Date.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// From its first moment to its last; of a point in time both are the same.
struct TimeSpan {
    KestrelCore::Date begin;
    KestrelCore::Date end;
};

/// What a person means by a time of changes: an age that counts back from `now` ("90min", "12h", "7d", "2w", "6mo",
/// "1y", "2 years"), a local year, month, day or minute ("2023", "2023-05", "2023-05-31", "today", "yesterday",
/// "2023-05-31 09:30"). Empty for anything else: a number that is no year names nothing.
[[nodiscard]] std::optional<TimeSpan> parseTimeSpan(std::string_view written, KestrelCore::Date now);

/// The same of an option's value; throws `UsageError`. What is older than it was changed before its begin, what is
/// newer at or after its end.
[[nodiscard]] TimeSpan timeSpanOption(std::string_view text, KestrelCore::Date now);

/// Of a year, a month or a day that is written as above: the one before it and the one after it, written alike
/// ("2022" and "2024"). What was changed within it is newer than the first and older than the second. Empty for any
/// other text.
struct TimesBeside {
    std::string before;
    std::string after;
};
[[nodiscard]] std::optional<TimesBeside> timesBeside(std::string_view text, KestrelCore::Date now);

}  // namespace KestrelCLI
