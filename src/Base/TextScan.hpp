#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

// What `Text` is made of, on plain bytes: for the places that handle texts in bulk and build no `Text` for each. All of
// these are pure and may be called from any thread. "Well-formed" parameters must be well-formed UTF-8.

/// Whether every byte is below 0x80.
[[nodiscard]] bool isASCII(std::string_view bytes) noexcept;

/// How many bytes at the beginning are below 0x80.
[[nodiscard]] std::size_t asciiPrefixLength(std::string_view bytes) noexcept;

/// Whether every scalar is below U+0300: each is then its own normal form C, and a character of its own (but CR LF).
[[nodiscard]] bool isPlainLatin(std::string_view wellFormed) noexcept;

/// Well-formed as Unicode defines it: no overlong forms, no surrogates, nothing above U+10FFFF.
[[nodiscard]] bool isWellFormedUTF8(std::string_view bytes) noexcept;

/// The bytes with every maximal ill-formed piece replaced by one U+FFFD.
[[nodiscard]] std::string repairedUTF8(std::string_view bytes);

/// The units in UTF-8; each half of a pair without the other becomes U+FFFD.
[[nodiscard]] std::string utf8FromUTF16(std::u16string_view units);

/// Appends the form of one scalar: 0 to U+10FFFF, and no surrogate.
void appendUTF8(std::int32_t scalar, std::string& appendTo);

/// Whether the text is in normal form C.
[[nodiscard]] bool isNormalizedUTF8(std::string_view wellFormed);

/// The text in normal form C.
[[nodiscard]] std::string normalizedUTF8(std::string_view wellFormed);

/// The text in normal form D.
[[nodiscard]] std::string decomposedUTF8(std::string_view wellFormed);

/// Appends the text with each scalar replaced by its lower-case mapping, without context or locale.
void lowercase(std::string_view wellFormed, std::string& appendTo);

/// Appends the text with each scalar replaced by its full case folding, without a locale.
void foldCase(std::string_view wellFormed, std::string& appendTo);

/// The byte offsets at which the characters (extended grapheme clusters) of the text end, in order; empty for the empty
/// text.
[[nodiscard]] std::vector<std::size_t> characterEnds(std::string_view wellFormed);

/// Whether a character ends at byte `offset`, which must lie on a scalar boundary; true at both ends of the text.
[[nodiscard]] bool isCharacterBoundary(std::string_view wellFormed, std::size_t offset);

}  // namespace KestrelCore
