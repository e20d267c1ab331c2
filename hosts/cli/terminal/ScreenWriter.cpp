#include "terminal/ScreenWriter.hpp"

#include "output/UTF8.hpp"

#include <algorithm>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>

// Screens are compared cell by cell, and what differs is written in runs, each at a place that is named: nothing
// depends on where the terminal thinks its cursor is. Between two changes the terminal writes in no look. Terminals
// disagree about the width of rare characters, so behind one of those the place is named anew; then only the cell
// itself can look wrong.

namespace KestrelCLI {

namespace {

/// Whether every terminal gives the character one column: what has one byte, and the lines, blocks and dots of pages.
bool hasCertainWidth(std::string_view text) {
    if (text.size() == 1) return true;
    if (text.empty()) return false;
    const UTF8Step step = firstUTF8(text);
    if (!step.scalar || step.length != text.size()) return false;
    const char32_t scalar = *step.scalar;
    return scalar < 0x300 || (scalar >= 0x2010 && scalar < 0x2040) || (scalar >= 0x2500 && scalar < 0x25A0);
}

bool isBlank(const ScreenCell& cell) { return cell.text == " " && cell.look == CellLook{}; }

}  // namespace

std::string ScreenWriter::lookCommand(const CellLook& before, const CellLook& look) const {
    // There is no command that takes one attribute away on every terminal, only one for all.
    const auto attributes = [](const CellLook& of) {
        return std::tie(of.isBold, of.isDim, of.isReversed, of.isUnderlined);
    };
    const bool losesColor = (look.foreground.isNone() && !before.foreground.isNone()) ||
                            (look.background.isNone() && !before.background.isNone());
    const bool beginsAnew = losesColor || attributes(before) != attributes(look);
    std::string out;
    if (beginsAnew) {
        out += commands_.plain;
        if (look.isBold) out += commands_.bold;
        if (look.isDim) out += commands_.dim;
        if (look.isReversed) out += commands_.reversed;
        if (look.isUnderlined) out += commands_.underlined;
    }
    const auto differs = [beginsAnew](ScreenColor own, ScreenColor earlier) {
        return !own.isNone() && (beginsAnew || own != earlier);
    };
    if (differs(look.foreground, before.foreground)) out += commands_.foreground(look.foreground);
    if (differs(look.background, before.background)) out += commands_.background(look.background);
    return out;
}

/// Whether the cells from `begin` on can be written again with less than it takes to name the place of `end`.
bool ScreenWriter::isShortWay(const ScreenCells& wanted, std::size_t row, std::size_t begin, std::size_t end,
                              const CellLook& look) {
    constexpr std::size_t farthest = 5;
    if (end - begin > farthest) return false;
    for (std::size_t column = begin; column < end; ++column) {
        const ScreenCell& cell = wanted.at(row, column);
        if (cell.look != look || !hasCertainWidth(cell.text)) return false;
    }
    return true;
}

/// @param look the one that the terminal writes in, before and after
void ScreenWriter::writeRow(std::string& out, const ScreenCells& shown, const ScreenCells& wanted, std::size_t row,
                            CellLook& look) const {
    std::size_t end = wanted.columns();  // behind the last that must be written cell by cell
    const bool canClear = !commands_.clearToEndOfLine.empty();
    while (canClear && end > 0 && isBlank(wanted.at(row, end - 1))) --end;
    std::optional<std::size_t> cursor;  // unknown at first
    const auto isLastCell = [&](std::size_t column) {
        return row + 1 == wanted.rows() && column + 1 == wanted.columns() && !commands_.hasLastCell;
    };
    for (std::size_t column = 0; column < end; ++column) {
        const ScreenCell& cell = wanted.at(row, column);
        if (cell.text.empty() || cell == shown.at(row, column) || isLastCell(column)) continue;
        if (cursor && isShortWay(wanted, row, *cursor, column, look)) {
            while (*cursor < column) out += wanted.at(row, (*cursor)++).text;
        } else {
            out += commands_.moveTo(row, column);
        }
        if (look != cell.look) out += lookCommand(look, cell.look);
        look = cell.look;
        out += cell.text;
        cursor = hasCertainWidth(cell.text) ? std::optional{column + 1} : std::nullopt;
    }
    for (std::size_t column = end; column < wanted.columns(); ++column) {
        if (isBlank(shown.at(row, column))) continue;
        if (cursor != end) out += commands_.moveTo(row, end);
        if (look != CellLook{}) out += commands_.plain;
        look = {};
        out += commands_.clearToEndOfLine;
        return;
    }
}

std::string ScreenWriter::change(const ScreenCells& shown, const ScreenCells& wanted) const {
    if (shown.columns() != wanted.columns() || shown.rows() != wanted.rows()) return all(wanted);
    std::string out;
    CellLook look;
    for (std::size_t row = 0; row < wanted.rows(); ++row) writeRow(out, shown, wanted, row, look);
    if (look != CellLook{}) out += commands_.plain;
    return out;
}

std::string ScreenWriter::all(const ScreenCells& wanted) const {
    return commands_.plain + commands_.clear + change(ScreenCells{wanted.columns(), wanted.rows()}, wanted);
}

}  // namespace KestrelCLI
