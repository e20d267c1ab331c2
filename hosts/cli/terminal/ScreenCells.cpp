#include "terminal/ScreenCells.hpp"

#include "output/UTF8.hpp"

#include <algorithm>
#include <string_view>

namespace KestrelCLI {

namespace {

/// Marks beyond these are left out: a name can have thousands on one letter, which no terminal shows and every drawing
/// would send.
constexpr std::size_t mostCombining = 4;

constexpr std::uint8_t red = 1;
constexpr std::uint8_t magenta = 5;

CellLook lookOf(const ScreenSpan& span, ColorDepth depth) {
    CellLook look;
    switch (span.style) {
    case Style::heading:
    case Style::folder: look.isBold = true; break;
    case Style::quiet: look.isDim = true; break;
    case Style::bar:
    case Style::warning: look.foreground = ScreenColor::indexed(magenta); break;
    case Style::bad: look.foreground = ScreenColor::indexed(red); break;
    case Style::match:
        look.foreground = ScreenColor::indexed(red);
        look.isBold = true;
        break;
    case Style::selected: look.isReversed = true; break;
    case Style::good:
    case Style::plain:
    case Style::file: break;
    }
    if (!span.foreground.isNone()) look.foreground = span.foreground;
    look.foreground = look.foreground.within(depth);
    look.background = span.background.within(depth);
    look.isBold |= span.isBold;
    look.isReversed |= span.isReversed;
    look.isUnderlined |= span.isUnderlined;
    return look;
}

}  // namespace

ScreenCells::ScreenCells(const std::vector<ScreenLine>& lines, std::size_t columns, std::size_t rows, ColorDepth depth,
                         Characters characters)
    : ScreenCells{columns, rows} {
    for (std::size_t row = 0; row < std::min(rows, lines.size()); ++row) {
        std::size_t column = 0;
        for (const ScreenSpan& span : lines[row]) column = put(row, column, span, depth, characters);
    }
}

/// The column behind it.
std::size_t ScreenCells::put(std::size_t row, std::size_t column, const ScreenSpan& span, ColorDepth depth,
                             Characters characters) {
    const std::string text = TerminalText::shortened(span.text, columns_ - column, characters);
    const CellLook look = lookOf(span, depth);
    ScreenCell* const line = cells_.data() + row * columns_;
    std::size_t combining = mostCombining;  // none where there is nothing that they could stand on
    std::size_t last = column;
    for (std::string_view rest = text; !rest.empty();) {
        const UTF8Step step = firstUTF8(rest);
        const std::string_view own = rest.substr(0, step.length);
        rest.remove_prefix(step.length);
        const std::size_t width = TerminalText::width(own);
        // Escaped texts have neither; a terminal would obey the one and misunderstand the other.
        const bool canShow = step.scalar && !TerminalText::isHidden(*step.scalar) &&
                             (characters == Characters::unicode || *step.scalar < 0x80);
        if (width == 0) {
            if (canShow && combining++ < mostCombining) line[last].text += own;
            continue;
        }
        if (column + width > columns_) break;
        last = column;
        combining = 0;
        for (std::size_t part = 0; part < width; ++part) {
            ScreenCell& cell = line[column + part];
            cell.look = look;
            if (!canShow) {
                cell.text = "?";
            } else if (part == 0) {
                cell.text = own;
            } else {
                cell.text.clear();
            }
        }
        column += width;
    }
    return column;
}

}  // namespace KestrelCLI
