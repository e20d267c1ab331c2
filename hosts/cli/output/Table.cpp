#include "output/Table.hpp"

#include "output/TerminalText.hpp"

#include <algorithm>

// Widths need every row before the first is written, so rows are kept. Where they don't fit, the columns that may
// shrink give way, the widest first, each down to the narrowest that can still be read, and their cells go on below:
//
//     1.20 GB  2 years ago  ~/Library/Group Containers/
//                           group.com.example.notes/
//                           Backups.sqlite
//
// What is too wide even then is left to the terminal to wrap, for cutting it would hide the columns that matter most.

namespace KestrelCLI {

namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t narrowest = 16;
/// Of a cell that is longer its middle gives way: no path that a person made is, and a name may be hostile.
constexpr std::size_t mostLines = 16;

/// A line of a cell.
struct Piece {
    std::string text;
    std::size_t columns;
};

/// `painted` in pieces with the texts `shown`, one after the other. A colour that is on where a piece ends is put off
/// there and on again where the next begins, so that it does not run through the other columns.
std::vector<Piece> paintedPieces(std::string_view painted, const std::vector<std::string_view>& shown) {
    std::vector<Piece> pieces;
    std::string_view active;
    for (const std::string_view text : shown) {
        std::string piece{active};
        for (std::size_t left = text.size(); left > 0 && !painted.empty();) {
            // Texts are escaped, so whatever begins like a sequence is one of ours.
            if (painted.starts_with("\x1b[")) {
                const std::string_view sequence = painted.substr(0, painted.find('m') + 1);
                active = sequence == "\x1b[0m" ? std::string_view{} : sequence;
                piece += sequence;
                painted.remove_prefix(sequence.size());
            } else {
                piece += painted.front();
                painted.remove_prefix(1);
                --left;
            }
        }
        if (!active.empty()) piece += "\x1b[0m";
        pieces.push_back({std::move(piece), TerminalText::width(text)});
    }
    return pieces;
}

std::vector<Piece> piecesOf(const Table::Cell& cell, const Table::Column& column, std::size_t width, bool hasColor,
                            Characters characters) {
    const std::size_t most = column.shrinks && !column.isCut ? width * mostLines : width;
    const std::string shown = TerminalText::shortened(cell.text, most, characters);
    const std::string whole = hasColor && cell.paint ? cell.paint(shown) : painted(cell.style, shown, hasColor);
    return paintedPieces(whole, TerminalText::wrapped(shown, std::max<std::size_t>(width, 1)));
}

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
    while (columns > 0 && sum > columns) {
        // The widest gives way down to the next one, or as far as needed.
        std::size_t* widest = nullptr;
        std::size_t next = narrowest;
        for (std::size_t index = 0; index < columns_.size(); ++index) {
            if (!columns_[index].shrinks) continue;
            std::size_t& width = result[index];
            if (widest == nullptr || width > *widest) {
                if (widest != nullptr) next = std::max(next, *widest);
                widest = &width;
            } else {
                next = std::max(next, width);
            }
        }
        if (widest == nullptr || *widest <= narrowest) break;
        // Of two that are as wide each gives way by one.
        const std::size_t room = std::max<std::size_t>(*widest - std::min(next, *widest), 1);
        const std::size_t cut = std::min(sum - columns, room);
        *widest -= cut;
        sum -= cut;
    }
    return result;
}

std::size_t Table::leastWidth() const {
    const std::vector<std::size_t> least = widths(1);
    std::size_t sum = columns_.empty() ? 0 : (columns_.size() - 1) * gap;
    for (const std::size_t width : least) sum += width;
    return sum;
}

void Table::write(std::ostream& out, std::size_t columns, bool hasColor, Characters characters) const {
    const std::vector<std::size_t> width = widths(columns);
    const auto writeRow = [&](const auto& cellAt) {
        std::vector<std::vector<Piece>> cells;
        std::size_t height = 1;
        for (std::size_t index = 0; index < columns_.size(); ++index) {
            cells.push_back(piecesOf(cellAt(index), columns_[index], width[index], hasColor, characters));
            height = std::max(height, cells.back().size());
        }
        for (std::size_t at = 0; at < height; ++at) {
            std::string line;
            std::size_t wanted = 0;  // blanks that are written only when something follows: no line ends in them
            for (std::size_t index = 0; index < columns_.size(); ++index) {
                const Piece piece = at < cells[index].size() ? cells[index][at] : Piece{"", 0};
                const std::size_t blanks = width[index] - std::min(width[index], piece.columns);
                const bool isRight = columns_[index].align == Align::right;
                if (isRight) wanted += blanks;
                if (!piece.text.empty()) {
                    line.append(wanted, ' ');
                    line += piece.text;
                    wanted = 0;
                }
                wanted += (isRight ? 0 : blanks) + gap;
            }
            out << line << '\n';
        }
    };
    if (std::ranges::any_of(columns_, [](const Column& column) { return !column.title.empty(); })) {
        writeRow([&](std::size_t index) { return Cell{columns_[index].title, Style::quiet, {}}; });
    }
    for (const auto& row : rows_) {
        if (!out) return;
        writeRow([&](std::size_t index) { return row[index]; });
    }
}

}  // namespace KestrelCLI
