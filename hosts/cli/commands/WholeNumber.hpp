#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <limits>

namespace KestrelCLI {

/// The check of an option that counts, for its `transform`: digits only, from 0 to `most`. It looks at the text,
/// because CLI11 would read a negative number into an unsigned variable as a very large one, and a leading 0 as octal.
[[nodiscard]] CLI::Validator wholeNumber(std::int64_t most = std::numeric_limits<std::int64_t>::max());

}  // namespace KestrelCLI
