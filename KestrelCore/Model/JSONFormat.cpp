#include "KestrelCore/Model/JSONFormat.hpp"

#include <array>
#include <charconv>
#include <cmath>

namespace KestrelCore {

namespace {

constexpr bool isEscaped(unsigned char byte) { return byte < 0x20 || byte == '"' || byte == '\\' || byte == '/'; }

constexpr auto escapedBytes = [] {
    std::array<bool, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte) table[byte] = isEscaped(static_cast<unsigned char>(byte));
    return table;
}();

void appendEscape(std::string& out, unsigned char byte) {
    static constexpr char digits[] = "0123456789abcdef";
    switch (byte) {
    case '"': out += "\\\""; return;
    case '\\': out += "\\\\"; return;
    case '/': out += "\\/"; return;
    case '\b': out += "\\b"; return;
    case '\f': out += "\\f"; return;
    case '\n': out += "\\n"; return;
    case '\r': out += "\\r"; return;
    case '\t': out += "\\t"; return;
    default:
        out += "\\u00";
        out += digits[byte >> 4];
        out += digits[byte & 15];
    }
}

template <typename Integer>
void appendDigits(std::string& out, Integer value) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    out.append(digits, end);
}

}  // namespace

void JSONFormat::appendEscaped(std::string& out, std::string_view text) {
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (!escapedBytes[byte]) continue;
        out.append(text, start, i - start);
        appendEscape(out, byte);
        start = i + 1;
    }
    out.append(text, start);
}

void JSONFormat::appendString(std::string& out, std::string_view text) {
    out += '"';
    appendEscaped(out, text);
    out += '"';
}

void JSONFormat::appendInteger(std::string& out, std::int64_t value) { appendDigits(out, value); }
void JSONFormat::appendInteger(std::string& out, std::uint64_t value) { appendDigits(out, value); }

bool JSONFormat::appendDouble(std::string& out, double value) {
    if (!std::isfinite(value)) return false;
    constexpr double smallestDecimal = 1e-4;
    constexpr double largestDecimal = 9007199254740992.0;  // 2^53
    const double magnitude = std::fabs(value);
    char text[400];
    if (value == 0 || (magnitude >= smallestDecimal && magnitude <= largestDecimal)) {
        out.append(text, std::to_chars(text, text + sizeof text, value, std::chars_format::fixed).ptr);
        return true;
    }
    out.append(text, std::to_chars(text, text + sizeof text, value, std::chars_format::scientific).ptr);
    return true;
}

}  // namespace KestrelCore
