#include "terminal/ClipboardCommand.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace KestrelCLI {

namespace {

constexpr std::size_t longestText = 74'994;

/// The beginnings of names of terminals that know no such commands and would show them as text.
constexpr std::array<std::string_view, 10> withoutClipboard{"linux", "dumb",   "cons", "vt",   "sun",
                                                            "ansi",  "pcansi", "hurd", "mach", "wsvt"};

std::string base64(std::string_view bytes) {
    static constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t begin = 0; begin < bytes.size(); begin += 3) {
        const std::string_view group = bytes.substr(begin, 3);
        std::uint32_t bits = 0;
        for (std::size_t index = 0; index < 3; ++index) {
            bits = bits << 8U | (index < group.size() ? static_cast<unsigned char>(group[index]) : 0U);
        }
        // A byte of the text is not whole before the digit behind it.
        for (std::size_t index = 0; index < 4; ++index) {
            out += index <= group.size() ? digits[bits >> (18 - 6 * index) & 0x3FU] : '=';
        }
    }
    return out;
}

}  // namespace

std::string clipboardCommand(std::string_view text, std::string_view terminalType) {
    const bool isUnknown = terminalType.empty() || std::ranges::any_of(withoutClipboard, [&](std::string_view name) {
                               return terminalType.starts_with(name);
                           });
    if (isUnknown || text.size() > longestText) return {};
    return "\x1b]52;c;" + base64(text) + "\a";
}

}  // namespace KestrelCLI
