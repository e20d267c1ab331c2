#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// The library repairs what is not UTF-8 when it makes a `Text`; a host that must show such bytes as they are needs to
// see them, so this looks at them itself.

namespace KestrelCLI {

/// One step through bytes that should be UTF-8.
struct UTF8Step {
    std::optional<char32_t> scalar;  ///< empty for an ill-formed piece
    std::size_t length = 0;          ///< bytes of the scalar, or of the maximal ill-formed piece; at least 1
};

/// What stands at the beginning of `bytes`, which must not be empty.
[[nodiscard]] UTF8Step firstUTF8(std::string_view bytes);

/// One scalar value as UTF-8; U+FFFD for what is none.
[[nodiscard]] std::string utf8Of(char32_t scalar);

/// Takes the last scalar value of a well-formed text away; of an empty one nothing.
void eraseLastCharacter(std::string& text);

}  // namespace KestrelCLI
