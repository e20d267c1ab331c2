#pragma once

#include "KestrelCore/Base/Date.hpp"

#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

namespace KestrelCLI {

/// Which of several scans is meant: the one with a number, or the newest that was there at a point in time.
using When = std::variant<std::int64_t, KestrelCore::Date>;

/// Reads what a person writes: a number ("12", "#12"); an age that counts back from `now` ("90min", "12h", "7d", "2w",
/// "1y"); a local day, to its end ("2026-11-20", "yesterday"); a local time ("2026-11-20 09:30", also with a T and with
/// seconds; with a Z at the end it is UTC). Empty for anything else, such as a day that no calendar has.
[[nodiscard]] std::optional<When> parseWhen(std::string_view text, KestrelCore::Date now);

/// The same of an option's value; throws `UsageError`.
[[nodiscard]] When whenOption(std::string_view text, KestrelCore::Date now);

}  // namespace KestrelCLI
