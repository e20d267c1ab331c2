#include "Snapshot/Search/LetterMask.hpp"

namespace KestrelCore {

namespace {

constexpr unsigned firstSharedBeyondASCII = 48;
constexpr std::uint32_t sharedBeyondASCII = 16;

std::uint32_t byteAt(std::string_view text, std::size_t index) { return static_cast<unsigned char>(text[index]); }

/// The bit of the scalar at `index`, which moves on behind it.
LetterMask nextBit(std::string_view wellFormed, std::size_t& index) {
    const std::uint32_t first = byteAt(wellFormed, index++);
    if (first < 0x80) return letterBits[first];
    std::uint32_t scalar = first;
    while (index < wellFormed.size() && (byteAt(wellFormed, index) & 0xC0) == 0x80) {
        scalar = scalar * 64 + byteAt(wellFormed, index++);
    }
    // Neighbours in a script get different bits, and so do the same places of different scripts, mostly.
    return LetterMask{1} << (firstSharedBeyondASCII + (scalar ^ scalar >> 7) % sharedBeyondASCII);
}

}  // namespace

LetterMask letterMask(std::string_view decomposed) {
    LetterMask mask = 0;
    for (std::size_t index = 0; index < decomposed.size();) mask |= nextBit(decomposed, index);
    return mask;
}

LetterMask firstLetterBit(std::string_view decomposed) {
    std::size_t index = 0;
    return nextBit(decomposed, index);
}

}  // namespace KestrelCore
