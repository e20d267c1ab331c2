#include "output/TerminalText.hpp"

#include "output/UTF8.hpp"

#include <fmt/format.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <vector>

// File names are written by whoever made the file. Shown as they are, one could clear the screen, forge a line of
// output, or pass for another by turning its direction. So what a terminal obeys, or does not show, is written out as
// an escape, and the backslash that begins one is doubled where it is part of the name. Widths come from tables of our
// own: those of the system hang on the locale, and know nothing beyond ASCII in that of scripts.

namespace KestrelCLI {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

template <std::size_t Size>
bool isInside(const std::array<Range, Size>& ranges, char32_t scalar) {
    const auto after = std::ranges::upper_bound(ranges, scalar, {}, &Range::first);
    return after != ranges.begin() && scalar <= std::prev(after)->last;
}

/// Combining marks, which share the column of the character before them (the common blocks; no locale is asked).
constexpr std::array combiningRanges{
    Range{0x0300, 0x036F}, Range{0x0483, 0x0489}, Range{0x0591, 0x05BD}, Range{0x05BF, 0x05BF}, Range{0x05C1, 0x05C2},
    Range{0x05C4, 0x05C5}, Range{0x0610, 0x061A}, Range{0x064B, 0x065F}, Range{0x0670, 0x0670}, Range{0x06D6, 0x06DC},
    Range{0x06DF, 0x06E4}, Range{0x06E7, 0x06E8}, Range{0x06EA, 0x06ED}, Range{0x0711, 0x0711}, Range{0x0730, 0x074A},
    Range{0x0900, 0x0902}, Range{0x093A, 0x093A}, Range{0x093C, 0x093C}, Range{0x0941, 0x0948}, Range{0x094D, 0x094D},
    Range{0x0951, 0x0957}, Range{0x0E31, 0x0E31}, Range{0x0E34, 0x0E3A}, Range{0x0E47, 0x0E4E}, Range{0x1160, 0x11FF},
    Range{0x1AB0, 0x1AFF}, Range{0x1DC0, 0x1DFF}, Range{0x20D0, 0x20FF}, Range{0x302A, 0x302D}, Range{0x3099, 0x309A},
    Range{0xFE00, 0xFE0F}, Range{0xFE20, 0xFE2F}};

/// Characters that take two columns.
constexpr std::array wideRanges{
    Range{0x1100, 0x115F},   Range{0x231A, 0x231B},   Range{0x2329, 0x232A},   Range{0x23E9, 0x23EC},
    Range{0x25FD, 0x25FE},   Range{0x2614, 0x2615},   Range{0x2648, 0x2653},   Range{0x26A1, 0x26A1},
    Range{0x26BD, 0x26BE},   Range{0x26C4, 0x26C5},   Range{0x2705, 0x2705},   Range{0x270A, 0x270B},
    Range{0x2728, 0x2728},   Range{0x274C, 0x274C},   Range{0x2753, 0x2755},   Range{0x2757, 0x2757},
    Range{0x2795, 0x2797},   Range{0x2B1B, 0x2B1C},   Range{0x2B50, 0x2B50},   Range{0x2B55, 0x2B55},
    Range{0x2E80, 0x303E},   Range{0x3041, 0x33FF},   Range{0x3400, 0x4DBF},   Range{0x4E00, 0xA4CF},
    Range{0xA960, 0xA97F},   Range{0xAC00, 0xD7A3},   Range{0xF900, 0xFAFF},   Range{0xFE30, 0xFE6F},
    Range{0xFF00, 0xFF60},   Range{0xFFE0, 0xFFE6},   Range{0x16FE0, 0x18CFF}, Range{0x1B000, 0x1B2FF},
    Range{0x1F004, 0x1F004}, Range{0x1F0CF, 0x1F0CF}, Range{0x1F18E, 0x1F18E}, Range{0x1F191, 0x1F19A},
    Range{0x1F200, 0x1F320}, Range{0x1F32D, 0x1F335}, Range{0x1F337, 0x1F64F}, Range{0x1F680, 0x1F6FF},
    Range{0x1F7E0, 0x1F7F0}, Range{0x1F900, 0x1F9FF}, Range{0x1FA70, 0x1FAFF}, Range{0x20000, 0x3FFFD}};

/// How many columns a terminal gives the character. Below U+0300 it is one for all that is shown.
std::size_t columnsOf(char32_t scalar) {
    if (scalar < 0x300) return 1;
    if (isInside(combiningRanges, scalar)) return 0;
    return isInside(wideRanges, scalar) ? 2 : 1;
}

void appendEscape(std::string& out, char32_t scalar) {
    switch (scalar) {
    case U'\n': out += "\\n"; return;
    case U'\r': out += "\\r"; return;
    case U'\t': out += "\\t"; return;
    default: break;
    }
    const auto number = static_cast<std::uint32_t>(scalar);
    if (number < 0x80) {
        fmt::format_to(std::back_inserter(out), "\\x{:02x}", number);
    } else {
        fmt::format_to(std::back_inserter(out), "\\u{{{:x}}}", number);
    }
}

}  // namespace

bool TerminalText::isHidden(char32_t scalar) {
    if (scalar < 0x80) return scalar < 0x20 || scalar == 0x7F;
    // Unicode's own properties, so that no list has to follow it.
    const auto point = static_cast<UChar32>(scalar);
    constexpr std::uint32_t hidden = U_GC_CC_MASK | U_GC_CF_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK;
    return (U_GET_GC_MASK(point) & hidden) != 0 || u_hasBinaryProperty(point, UCHAR_DEFAULT_IGNORABLE_CODE_POINT) != 0;
}

std::string TerminalText::escaped(std::string_view text, Characters characters) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const UTF8Step step = firstUTF8(text);
        if (!step.scalar) {
            // Byte by byte: what is no character has no other name.
            for (const char byte : text.substr(0, step.length)) {
                fmt::format_to(std::back_inserter(out), "\\x{:02x}", static_cast<unsigned char>(byte));
            }
        } else if (*step.scalar == U'\\') {
            out += "\\\\";
        } else if (isHidden(*step.scalar) || (characters == Characters::ascii && *step.scalar >= 0x80)) {
            appendEscape(out, *step.scalar);
        } else {
            out += text.substr(0, step.length);
        }
        text.remove_prefix(step.length);
    }
    return out;
}

std::size_t TerminalText::width(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty()) {
        const UTF8Step step = firstUTF8(text);
        columns += step.scalar ? columnsOf(*step.scalar) : 1;
        text.remove_prefix(step.length);
    }
    return columns;
}

std::string TerminalText::shortened(std::string_view text, std::size_t columns, Characters characters) {
    if (width(text) <= columns) return std::string{text};
    if (columns == 0) return {};
    const std::string_view dots = characters == Characters::ascii ? "..." : "…";
    const std::size_t dotColumns = width(dots);
    if (columns <= dotColumns) return std::string{dots.substr(0, dotColumns == 1 ? dots.size() : columns)};
    // A third for the beginning: the end of a path says more about the item than its first folders do.
    const std::size_t headColumns = (columns - dotColumns) / 3;
    const std::size_t tailColumns = columns - dotColumns - headColumns;

    std::vector<std::size_t> starts;  // byte offset of each character, and the columns used before it
    std::vector<std::size_t> before;
    std::size_t offset = 0;
    std::size_t used = 0;
    while (offset < text.size()) {
        const UTF8Step step = firstUTF8(text.substr(offset));
        starts.push_back(offset);
        before.push_back(used);
        used += step.scalar ? columnsOf(*step.scalar) : 1;
        offset += step.length;
    }
    const auto headEnd = static_cast<std::size_t>(
        std::distance(before.begin(), std::prev(std::ranges::upper_bound(before, headColumns))));
    const auto tailStart =
        static_cast<std::size_t>(std::distance(before.begin(), std::ranges::lower_bound(before, used - tailColumns)));
    std::string out{text.substr(0, starts[headEnd])};
    out += dots;
    if (tailStart < starts.size()) out += text.substr(starts[tailStart]);
    return out;
}

std::vector<std::string_view> TerminalText::wrapped(std::string_view text, std::size_t columns) {
    std::vector<std::string_view> pieces;
    // In a sentence a slash is no better place than any other.
    const bool isPath = text.starts_with('/') || text.starts_with('~');
    std::size_t begin = 0;
    while (pieces.empty() || begin < text.size()) {
        std::size_t end = begin;
        std::size_t used = 0;
        std::size_t afterSlash = begin;  // the last place in the second half of the line where it may end
        std::size_t afterBlank = begin;
        while (end < text.size()) {
            const UTF8Step step = firstUTF8(text.substr(end));
            const std::size_t own = step.scalar ? columnsOf(*step.scalar) : 1;
            if (used + own > columns && end > begin) break;
            used += own;
            end += step.length;
            if (used * 2 < columns) continue;
            if (text[end - 1] == '/') afterSlash = end;
            if (text[end - 1] == ' ') afterBlank = end;
        }
        if (end < text.size()) {
            if (afterSlash > begin && (isPath || afterBlank == begin)) {
                end = afterSlash;
            } else if (afterBlank > begin) {
                end = afterBlank;
            }
        }
        pieces.push_back(text.substr(begin, end - begin));
        begin = end;
    }
    return pieces;
}

std::string TerminalText::padded(std::string_view text, std::size_t columns, bool right) {
    const std::size_t own = width(text);
    const std::string blanks(own < columns ? columns - own : 0, ' ');
    return right ? blanks + std::string{text} : std::string{text} + blanks;
}

}  // namespace KestrelCLI
