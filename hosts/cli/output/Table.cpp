#include "output/Table.hpp"

#include "output/TerminalText.hpp"

#include <algorithm>

// Widths need every row before the first is written, so rows are kept. Where they don't fit, the columns that may
// shrink give way from the left, each down to the narrowest that still says something; what is too wide even then is
// left to the terminal to wrap, for cutting it would hide the columns that matter most.

namespace KestrelCLI {

namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t narrowest = 8;

}  // namespace

// By columns of the terminal and not by bytes or characters: a wide character takes two, a combining mark none.
std::vector<std::size_t> Table::widths(std::size_t columns) const {
    std::vector<std::size_t> result;
    std::size_t sum = 0;
    for (std::size_t index = 0; index < columns_.size(); ++index) {
        std::size_t widest = TerminalText::width(columns_[index].title);
        for (const auto& row : rows_) widest = std::max(widest, TerminalText::width(row[index].text));
        result.push_back(widest);
        sum += widest + (index > 0 ? gap : 0);
    }
    for (std::size_t index = 0; columns > 0 && sum > columns && index < columns_.size(); ++index) {
        if (!columns_[index].shrinks || result[index] <= narrowest) continue;
        const std::size_t cut = std::min(sum - columns, result[index] - narrowest);
        result[index] -= cut;
        sum -= cut;
    }
    return result;
}

void Table::write(std::ostream& out, std::size_t columns, bool hasColor) const {
    const std::vector<std::size_t> width = widths(columns);
    const auto writeRow = [&](const auto& cellAt) {
        std::string line;
        for (std::size_t index = 0; index < columns_.size(); ++index) {
            const Cell cell = cellAt(index);
            const bool isLast = index + 1 == columns_.size();
            std::string text = TerminalText::shortened(cell.text, width[index]);
            // The last column is not filled up: no line ends in blanks.
            if (!isLast || columns_[index].align == Align::right) {
                text = TerminalText::padded(text, width[index], columns_[index].align == Align::right);
            }
            line += hasColor && cell.paint ? cell.paint(text) : painted(cell.style, text, hasColor);
            if (!isLast) line.append(gap, ' ');
        }
        out << line << '\n';
    };
    if (std::ranges::any_of(columns_, [](const Column& column) { return !column.title.empty(); })) {
        writeRow([&](std::size_t index) { return Cell{columns_[index].title, Style::quiet, {}}; });
    }
    for (const auto& row : rows_) {
        writeRow([&](std::size_t index) { return row[index]; });
    }
}

}  // namespace KestrelCLI
