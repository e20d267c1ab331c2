#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace KestrelCLI {

/// Bytes that a person means by a size: "500MB", "1.5 GB" (decimal units), "2GiB" (binary ones), "10k", or bytes
/// without a unit; in any case. Empty for anything else, for what is below 0 and for what 64 bits don't hold.
[[nodiscard]] std::optional<std::int64_t> parseSize(std::string_view text);

/// The same of an option's value; throws `UsageError`.
[[nodiscard]] std::int64_t sizeOption(std::string_view text);

}  // namespace KestrelCLI
