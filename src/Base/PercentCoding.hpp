#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

// Percent-encoding: a byte as "%XX". What differs between formats is which bytes stand as they are.

/// For each byte whether it stands as it is.
using KeptBytes = std::array<bool, 256>;

/// Letters, digits, "-._~" and what `punctuation` holds.
[[nodiscard]] constexpr KeptBytes keepingUnreservedAnd(std::string_view punctuation) {
    constexpr std::string_view unreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    KeptBytes kept{};
    for (const char c : unreserved) kept[static_cast<unsigned char>(c)] = true;
    for (const char c : punctuation) kept[static_cast<unsigned char>(c)] = true;
    return kept;
}

/// All printable ASCII but the blank and "%": what is encoded so stays readable, and stays one word of one line.
[[nodiscard]] constexpr KeptBytes keepingPrintable() {
    KeptBytes kept{};
    for (std::size_t byte = 0x21; byte < 0x7F; ++byte) kept[byte] = byte != '%';
    return kept;
}

/// What happens to text that looks like "%XX" already, where "%" is not kept.
enum class PresentEscapes {
    encode,  ///< its "%" is a byte like others, so that decoding gives it back
    keep     ///< it is an escape, and stands
};

/// Appends `bytes` to `text`, encoded.
void appendPercentEncoded(std::string_view bytes, const KeptBytes& kept, PresentEscapes escapes, std::string& text);
[[nodiscard]] std::string percentEncoded(std::string_view bytes, const KeptBytes& kept);

/// The byte that the escape at `index`, which must be inside the text, stands for; -1 when there is none.
[[nodiscard]] int percentEscapeAt(std::string_view text, std::size_t index);

/// The bytes again. Empty for a "%" that is no escape, and for an encoded NUL, which no path holds.
[[nodiscard]] std::optional<std::string> percentDecoded(std::string_view text);

}  // namespace KestrelCore
