#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace KestrelCore {

/// Which letters a text holds, one bit for each of "a" to "z", the digits and a few marks; all other scalars share the
/// bits that are left. Taken over the normal form D of lowercased texts, so that equivalent spellings have one mask: a
/// text in which another occurs has all its bits. The reverse is no proof, but it turns nearly all names away for the
/// price of one comparison.
///
///     bit   0 … 25      26 … 35    36 … 39        40 … 47                  48 … 63
///           a … z       0 … 9      . - _ blank    other ASCII, mod 8       beyond ASCII, mixed
using LetterMask = std::uint64_t;

/// For every byte below 0x80 its bit, capital letters like small ones; 0 for the bytes above.
[[nodiscard]] constexpr std::array<LetterMask, 256> makeLetterBits() {
    constexpr std::string_view singles = "abcdefghijklmnopqrstuvwxyz0123456789.-_ ";
    constexpr unsigned firstShared = 40;
    constexpr unsigned sharedCount = 8;
    std::array<LetterMask, 256> bits{};
    for (unsigned byte = 0; byte < 0x80; ++byte) {
        bits[byte] = LetterMask{1} << (firstShared + byte % sharedCount);
    }
    for (std::size_t i = 0; i < singles.size(); ++i) {
        const auto byte = static_cast<unsigned char>(singles[i]);
        bits[byte] = LetterMask{1} << i;
        if (byte >= 'a' && byte <= 'z') bits[byte - 'a' + 'A'] = LetterMask{1} << i;
    }
    return bits;
}
inline constexpr std::array<LetterMask, 256> letterBits = makeLetterBits();

/// Of a text in ASCII, lowercased or not.
[[nodiscard]] inline LetterMask asciiLetterMask(std::string_view ascii) noexcept {
    LetterMask mask = 0;
    for (const char c : ascii) mask |= letterBits[static_cast<unsigned char>(c)];
    return mask;
}

/// Of any well-formed text in normal form D.
[[nodiscard]] LetterMask letterMask(std::string_view decomposed);

/// The bit of the first scalar of a text that is not empty, in normal form D.
[[nodiscard]] LetterMask firstLetterBit(std::string_view decomposed);

/// How many letters of `wanted` are missing in `held`.
[[nodiscard]] inline int missingLetters(LetterMask wanted, LetterMask held) noexcept {
    return std::popcount(wanted & ~held);
}

}  // namespace KestrelCore
