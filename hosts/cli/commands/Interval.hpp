#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace KestrelCLI {

using Seconds = std::chrono::duration<double>;

/// A time between two samples as a person writes it: "1s", "500ms", "2m", "1h", or seconds without a unit ("0.5").
/// Absent for anything else, for what is not above 0 and for more than a year.
[[nodiscard]] std::optional<Seconds> parseInterval(std::string_view text);

/// The same of an option's value; throws `UsageError`.
[[nodiscard]] Seconds intervalOption(std::string_view text);

}  // namespace KestrelCLI
