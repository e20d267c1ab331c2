#pragma once

#include "KestrelCore/Base/Date.hpp"

#include <optional>
#include <string_view>

namespace KestrelCLI {

/// From its first moment to its last; of a point in time both are the same.
struct TimeSpan {
    KestrelCore::Date begin;
    KestrelCore::Date end;
};

/// What a person means by a time of changes: an age that counts back from `now` ("90min", "12h", "7d", "2w", "6mo",
/// "1y"), a local year, month, day or minute ("2023", "2023-05", "2023-05-31", "yesterday", "2023-05-31 09:30"). Empty
/// for anything else: a number that is no year names nothing.
[[nodiscard]] std::optional<TimeSpan> parseTimeSpan(std::string_view text, KestrelCore::Date now);

/// The same of an option's value; throws `UsageError`. What is older than it was changed before its begin, what is
/// newer at or after its end.
[[nodiscard]] TimeSpan timeSpanOption(std::string_view text, KestrelCore::Date now);

}  // namespace KestrelCLI
