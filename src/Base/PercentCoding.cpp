#include "Base/PercentCoding.hpp"

namespace KestrelCore {

namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

void appendPercentEncoded(std::string_view bytes, const KeptBytes& kept, PresentEscapes escapes, std::string& text) {
    static constexpr char digits[] = "0123456789ABCDEF";
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        const auto byte = static_cast<unsigned char>(bytes[index]);
        if (kept[byte] || (escapes == PresentEscapes::keep && percentEscapeAt(bytes, index) >= 0)) {
            text += bytes[index];
        } else {
            text += '%';
            text += digits[byte >> 4];
            text += digits[byte & 15];
        }
    }
}

std::string percentEncoded(std::string_view bytes, const KeptBytes& kept) {
    std::string text;
    text.reserve(bytes.size());
    appendPercentEncoded(bytes, kept, PresentEscapes::encode, text);
    return text;
}

int percentEscapeAt(std::string_view text, std::size_t index) {
    if (text[index] != '%' || index + 2 >= text.size()) return -1;
    const int high = hexValue(text[index + 1]);
    const int low = hexValue(text[index + 2]);
    return high < 0 || low < 0 ? -1 : high * 16 + low;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] != '%') {
            bytes += text[index];
            continue;
        }
        const int byte = percentEscapeAt(text, index);
        if (byte <= 0) return std::nullopt;
        bytes += static_cast<char>(byte);
        index += 2;
    }
    return bytes;
}

}  // namespace KestrelCore
