#pragma once

#include <optional>
#include <string_view>

namespace KestrelCLI {

struct LeadingNumber {
    double value = 0;       ///< finite
    std::string_view rest;  ///< what stands behind the number, in the text that was given
};

/// The number at the beginning of `text`: an optional '-', digits with a point among or beside them, no exponent. No
/// locale has a say. Empty where none stands there, and for one that no double can hold.
[[nodiscard]] std::optional<LeadingNumber> leadingNumber(std::string_view text);

}  // namespace KestrelCLI
