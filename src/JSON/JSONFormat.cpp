#include "JSON/JSONFormat.hpp"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

// Names and paths hold next to nothing that must be escaped, and a snapshot is little else than names and paths. So
// eight bytes are looked at in one go and copied whole, and only a word that holds something is taken byte by byte.
// Whether it does is exact; which byte it was the trick can't tell.

namespace KestrelCore {

namespace {

constexpr bool isEscaped(unsigned char byte) { return byte < 0x20 || byte == '"' || byte == '\\' || byte == '/'; }

constexpr auto escapedBytes = [] {
    std::array<bool, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte) table[byte] = isEscaped(static_cast<unsigned char>(byte));
    return table;
}();

/// Whether one of eight bytes must be escaped, wherever it stands in the word.
bool mayHoldEscaped(std::uint64_t word) {
    constexpr std::uint64_t ones = 0x0101010101010101U;
    constexpr std::uint64_t highs = 0x8080808080808080U;
    const auto holds = [](std::uint64_t bytes, std::uint64_t byte) {
        const std::uint64_t difference = bytes ^ (ones * byte);
        return (difference - ones) & ~difference;
    };
    const std::uint64_t control = (word - ones * 0x20) & ~word;
    return ((holds(word, '"') | holds(word, '\\') | holds(word, '/') | control) & highs) != 0;
}

/// The letter after the backslash where there is a short form, else 0.
constexpr char shortEscape(unsigned char byte) {
    switch (byte) {
    case '"':
    case '\\':
    case '/': return static_cast<char>(byte);
    case '\b': return 'b';
    case '\f': return 'f';
    case '\n': return 'n';
    case '\r': return 'r';
    case '\t': return 't';
    default: return 0;
    }
}

std::size_t extraBytes(unsigned char byte) {
    if (!escapedBytes[byte]) return 0;
    return shortEscape(byte) != 0 ? 1 : JSONFormat::longestEscape - 1;
}

char* writeEscape(char* out, unsigned char byte) {
    static constexpr char digits[] = "0123456789abcdef";
    *out++ = '\\';
    if (const char letter = shortEscape(byte)) {
        *out++ = letter;
        return out;
    }
    for (const char c : {'u', '0', '0', digits[byte >> 4], digits[byte & 15]}) *out++ = c;
    return out;
}

template <typename Integer>
void appendDigits(std::string& out, Integer value) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    out.append(digits, end);
}

}  // namespace

char* JSONFormat::writeEscaped(char* out, std::string_view text) {
    const char* p = text.data();
    const char* end = p + text.size();
    while (p < end) {
        while (end - p >= 8) {
            std::uint64_t word = 0;
            std::memcpy(&word, p, 8);
            if (mayHoldEscaped(word)) break;
            std::memcpy(out, p, 8);
            p += 8;
            out += 8;
        }
        const char* stop = end - p > 8 ? p + 8 : end;
        for (; p < stop; ++p) {
            const auto byte = static_cast<unsigned char>(*p);
            if (escapedBytes[byte]) {
                out = writeEscape(out, byte);
            } else {
                *out++ = *p;
            }
        }
    }
    return out;
}

std::size_t JSONFormat::escapedLength(std::string_view text) {
    std::size_t length = text.size();
    std::size_t i = 0;
    for (; i + 8 <= text.size(); i += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + i, 8);
        if (!mayHoldEscaped(word)) continue;
        for (std::size_t k = i; k < i + 8; ++k) length += extraBytes(static_cast<unsigned char>(text[k]));
    }
    for (; i < text.size(); ++i) length += extraBytes(static_cast<unsigned char>(text[i]));
    return length;
}

void JSONFormat::appendEscaped(std::string& out, std::string_view text) {
    const std::size_t start = out.size();
    out.resize(start + escapedLength(text));
    writeEscaped(out.data() + start, text);
}

void JSONFormat::appendString(std::string& out, std::string_view text) {
    out += '"';
    appendEscaped(out, text);
    out += '"';
}

void JSONFormat::appendInteger(std::string& out, std::int64_t value) { appendDigits(out, value); }
void JSONFormat::appendInteger(std::string& out, std::uint64_t value) { appendDigits(out, value); }

char* JSONFormat::writeDouble(char* out, double value) {
    if (!std::isfinite(value)) return nullptr;
    // Up to 2^53 every whole number is a double of its own, so that all digits mean something; beyond, they would claim
    // more than is known.
    constexpr double smallestDecimal = 1e-4;
    constexpr double largestDecimal = 9007199254740992.0;  // 2^53
    const double magnitude = std::fabs(value);
    const bool isDecimal = value == 0 || (magnitude >= smallestDecimal && magnitude <= largestDecimal);
    return std::to_chars(out, out + longestDouble, value,
                         isDecimal ? std::chars_format::fixed : std::chars_format::scientific)
        .ptr;
}

bool JSONFormat::appendDouble(std::string& out, double value) {
    char text[longestDouble];
    const char* end = writeDouble(text, value);
    if (end != nullptr) out.append(text, static_cast<std::size_t>(end - text));
    return end != nullptr;
}

}  // namespace KestrelCore
