#include "output/ShellWord.hpp"

#include "output/TerminalText.hpp"

#include <algorithm>

namespace KestrelCLI {

std::optional<std::string> shellWord(std::string_view text) {
    if (TerminalText::escaped(text) != text) return std::nullopt;
    constexpr std::string_view plain = "+,-./:=@_%";
    const auto isPlain = [&](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               plain.find(c) != std::string_view::npos || static_cast<unsigned char>(c) >= 0x80;
    };
    if (!text.empty() && std::ranges::all_of(text, isPlain)) return std::string{text};
    std::string quoted = "'";
    for (const char c : text) {
        if (c == '\'') {
            quoted += "'\\''";
        } else {
            quoted += c;
        }
    }
    return quoted + '\'';
}

}  // namespace KestrelCLI
