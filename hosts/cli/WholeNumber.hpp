#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <limits>

namespace KestrelCLI {

/// The check of an option that counts: digits only, from 0 to `most`. It looks at the text, because CLI11 would read a
/// negative number into an unsigned variable as a very large one.
[[nodiscard]] CLI::Validator wholeNumber(std::int64_t most = std::numeric_limits<std::int64_t>::max());

}  // namespace KestrelCLI
