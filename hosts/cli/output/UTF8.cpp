#include "output/UTF8.hpp"

namespace KestrelCLI {

UTF8Step firstUTF8(std::string_view bytes) {
    const auto at = [&](std::size_t index) { return static_cast<unsigned char>(bytes[index]); };
    const unsigned char first = at(0);
    if (first < 0x80) return {first, 1};
    if (first < 0xC2 || first > 0xF4) return {std::nullopt, 1};

    // The second byte's range shuts out overlong forms, surrogates and everything above U+10FFFF.
    const std::size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    const unsigned char lowest = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const unsigned char highest = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    char32_t scalar = first & (0x7FU >> length);
    for (std::size_t index = 1; index < length; ++index) {
        const unsigned char least = index == 1 ? lowest : 0x80;
        const unsigned char most = index == 1 ? highest : 0xBF;
        if (index >= bytes.size() || at(index) < least || at(index) > most) return {std::nullopt, index};
        scalar = (scalar << 6U) | (at(index) & 0x3FU);
    }
    return {scalar, length};
}

}  // namespace KestrelCLI
