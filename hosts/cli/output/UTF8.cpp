#include "output/UTF8.hpp"

#include <cstdint>
#include <unicode/utf8.h>

namespace KestrelCLI {

UTF8Step firstUTF8(std::string_view bytes) {
    const auto* const units = reinterpret_cast<const std::uint8_t*>(bytes.data());
    std::size_t length = 0;
    UChar32 scalar = 0;
    U8_NEXT(units, length, bytes.size(), scalar);
    if (scalar < 0) return {std::nullopt, length};
    return {static_cast<char32_t>(scalar), length};
}

std::string utf8Of(char32_t scalar) {
    if (scalar > 0x10FFFF || (scalar >= 0xD800 && scalar <= 0xDFFF)) scalar = 0xFFFD;
    const auto byte = [scalar](unsigned shift, char32_t lead, char32_t mask) {
        return static_cast<char>(lead | ((scalar >> shift) & mask));
    };
    if (scalar < 0x80) return {static_cast<char>(scalar)};
    if (scalar < 0x800) return {byte(6, 0xC0, 0x1F), byte(0, 0x80, 0x3F)};
    if (scalar < 0x10000) return {byte(12, 0xE0, 0x0F), byte(6, 0x80, 0x3F), byte(0, 0x80, 0x3F)};
    return {byte(18, 0xF0, 0x07), byte(12, 0x80, 0x3F), byte(6, 0x80, 0x3F), byte(0, 0x80, 0x3F)};
}

void eraseLastCharacter(std::string& text) {
    // Bytes after the first of a character begin with the bits 10.
    while (!text.empty() && (text.back() & 0xC0) == 0x80) text.pop_back();
    if (!text.empty()) text.pop_back();
}

}  // namespace KestrelCLI
