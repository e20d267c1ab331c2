#include "Platform/Linux/Trash/TrashInfo.hpp"

#include <algorithm>
#include <array>

namespace KestrelCore {

namespace {

bool isUnreserved(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view{"-._~/"}.find(c) != std::string_view::npos;
}

int hexadecimalValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool continuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

std::string percentEncodedPath(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        if (isUnreserved(c)) {
            text += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            text += {'%', "0123456789ABCDEF"[byte >> 4], "0123456789ABCDEF"[byte & 15]};
        }
    }
    return text;
}

std::optional<std::string> percentDecodedPath(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            bytes += text[i];
            continue;
        }
        if (i + 2 >= text.size()) return std::nullopt;
        const int high = hexadecimalValue(text[i + 1]);
        const int low = hexadecimalValue(text[i + 2]);
        if (high < 0 || low < 0 || (high == 0 && low == 0)) return std::nullopt;
        bytes += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return bytes;
}

std::string trashInfoText(std::string_view path, const std::tm& localTime) {
    std::array<char, 32> date{};
    const std::size_t length = std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &localTime);
    return "[Trash Info]\nPath=" + percentEncodedPath(path) + "\nDeletionDate=" + std::string{date.data(), length} +
           "\n";
}

std::optional<std::string> pathOfTrashInfo(std::string_view text) {
    bool isInGroup = false;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        constexpr std::string_view key = "Path=";
        if (line.starts_with('[')) {
            if (isInGroup) return std::nullopt;
            isInGroup = line == "[Trash Info]";
        } else if (isInGroup && line.starts_with(key)) {
            return percentDecodedPath(line.substr(key.size()));
        }
    }
    return std::nullopt;
}

std::string trashName(std::string_view name, std::string_view distinction, std::size_t longest) {
    const std::size_t room = longest - std::min(longest, distinction.size());
    if (name.size() > room) {
        std::size_t end = room;
        while (end > 0 && continuesCharacter(name[end])) --end;
        name = name.substr(0, end);
    }
    return std::string{name} + std::string{distinction};
}

}  // namespace KestrelCore
