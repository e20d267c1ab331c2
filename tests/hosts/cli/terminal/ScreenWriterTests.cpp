#include "terminal/ScreenWriter.hpp"

#include "output/UTF8.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KestrelCLI {

namespace {

ScreenLine plain(std::string text) { return {{.text = std::move(text), .style = Style::plain}}; }

ScreenCells cells(const std::vector<ScreenLine>& lines, std::size_t columns = 12, std::size_t rows = 3,
                  ColorDepth depth = ColorDepth::direct, Characters characters = Characters::unicode) {
    return {lines, columns, rows, depth, characters};
}

std::string textOf(const ScreenCells& cells, std::size_t row = 0) {
    std::string out;
    for (std::size_t column = 0; column < cells.columns(); ++column) out += cells.at(row, column).text;
    return out;
}

/// Commands that a small terminal of this test's own understands: a bracketed word each.
ScreenCommands commands() {
    return {.moveTo = [](std::size_t row, std::size_t column) { return fmt::format("[m{},{}]", row, column); },
            .foreground = [](ScreenColor color) { return fmt::format("[f{}]", color.index()); },
            .background = [](ScreenColor color) { return fmt::format("[b{}]", color.index()); },
            .clear = "[c]",
            .clearToEndOfLine = "[e]",
            .plain = "[p]",
            .bold = "[B]",
            .dim = "[D]",
            .reversed = "[R]",
            .underlined = "[U]",
            .hasLastCell = true};
}

/// What shows of what was written: text and look of each column, a wide character cut in half where it is written over.
class SmallTerminal {
public:
    SmallTerminal(std::size_t columns, std::size_t rows) : columns_{columns}, rows_{rows} { clear(); }

    void take(std::string_view written) {
        while (!written.empty()) {
            if (written.front() == '[') {
                const std::size_t end = written.find(']');
                obey(written.substr(1, end - 1));
                written.remove_prefix(end + 1);
            } else {
                const UTF8Step step = firstUTF8(written);
                show(written.substr(0, step.length));
                written.remove_prefix(step.length);
            }
        }
    }
    /// As a screen that was wanted would be.
    [[nodiscard]] bool shows(const ScreenCells& wanted) const {
        for (std::size_t row = 0; row < rows_; ++row) {
            for (std::size_t column = 0; column < columns_; ++column) {
                const ScreenCell& cell = wanted.at(row, column);
                const Cell& own = cells_[row * columns_ + column];
                if (cell.text != own.text || lookOf(cell.look) != own.look) return false;
            }
        }
        return true;
    }

private:
    struct Cell {
        std::string text = " ";
        std::string look;
    };

    static std::string lookOf(const CellLook& look) {
        std::string out;
        if (look.isBold) out += 'B';
        if (look.isDim) out += 'D';
        if (look.isReversed) out += 'R';
        if (look.isUnderlined) out += 'U';
        if (!look.foreground.isNone()) out += fmt::format("f{}", look.foreground.index());
        if (!look.background.isNone()) out += fmt::format("b{}", look.background.index());
        return out;
    }
    void clear() { cells_.assign(columns_ * rows_, Cell{}); }
    void obey(std::string_view command) {
        if (command.front() == 'm') {
            row_ = std::stoul(std::string{command.substr(1)});
            column_ = std::stoul(std::string{command.substr(command.find(',') + 1)});
        } else if (command == "c") {
            clear();
        } else if (command == "e") {
            for (std::size_t column = column_; column < columns_; ++column) blank(column);
        } else if (command == "p") {
            attributes_.clear();
            foreground_.clear();
            background_.clear();
        } else if (command.front() == 'f') {
            foreground_ = command;
        } else if (command.front() == 'b') {
            background_ = command;
        } else {
            attributes_ += command;
        }
    }
    Cell& cell(std::size_t column) { return cells_[row_ * columns_ + column]; }
    /// What a terminal does to a wide character of which one half is written over.
    void blank(std::size_t column) {
        if (cell(column).text.empty() && column > 0) cell(column - 1).text = " ";
        if (column + 1 < columns_ && cell(column + 1).text.empty()) cell(column + 1).text = " ";
        cell(column) = Cell{};
    }
    void show(std::string_view character) {
        const std::size_t width = TerminalText::width(character);
        if (width == 0) {
            for (std::size_t column = column_; column-- > 0;) {
                if (cell(column).text.empty()) continue;
                cell(column).text += character;
                return;
            }
        }
        for (std::size_t part = 0; part < width; ++part) blank(column_ + part);
        for (std::size_t part = 0; part < width; ++part)
            cell(column_ + part) = {part == 0 ? std::string{character} : std::string{},
                                    attributes_ + foreground_ + background_};
        column_ += width;
    }

    std::size_t columns_;
    std::size_t rows_;
    std::vector<Cell> cells_;
    std::size_t row_ = 0;
    std::size_t column_ = 0;
    std::string attributes_;
    std::string foreground_;
    std::string background_;
};

TEST(ScreenCells, cutsWhatDoesNotFit) {
    EXPECT_EQ(textOf(cells({plain("abcdefghijklmnop")})), "abc…ijklmnop");
    EXPECT_EQ(textOf(cells({plain("a"), plain("b")}, 1, 1)), "a");
    EXPECT_EQ(cells({plain("a")}, 0, 0).rows(), 0U);
}

TEST(ScreenCells, givesWideCharactersTwoColumnsAndCombiningOnesNone) {
    const ScreenCells wide = cells({plain("漢a\u0301b")});
    EXPECT_EQ(wide.at(0, 0).text, "漢");
    EXPECT_EQ(wide.at(0, 1).text, "");
    EXPECT_EQ(wide.at(0, 2).text, "a\u0301");
    EXPECT_EQ(wide.at(0, 3).text, "b");
    // One that finds half of its room only is left out.
    EXPECT_EQ(textOf(cells({plain("漢漢")}, 3)), "…漢");
}

TEST(ScreenCells, leavesOutFloodsOfMarksAndWhatATerminalWouldObey) {
    std::string flood = "a";
    for (int count = 0; count < 4000; ++count) flood += "\u0301";
    EXPECT_LT(textOf(cells({plain(flood)})).size(), 30U);
    EXPECT_EQ(textOf(cells({plain("\u0301x")})), "x           ");
    EXPECT_EQ(textOf(cells({plain("a\x1b[2Jb\xff")})), "a?[2Jb?     ");
    EXPECT_EQ(textOf(cells({plain("ä漢")}, 4, 1, ColorDepth::none, Characters::ascii)), "??? ");
}

TEST(ScreenWriter, writesOnlyWhatDiffers) {
    const ScreenWriter writer{commands()};
    const ScreenCells before = cells({plain("one two"), plain("three")});
    EXPECT_EQ(writer.change(before, before), "");
    EXPECT_EQ(writer.change(before, cells({plain("one six"), plain("three")})), "[m0,4]six");
    EXPECT_EQ(writer.change(before, cells({plain("one"), plain("three")})), "[m0,3][e]");
    EXPECT_EQ(writer.all(cells({plain("x")})), "[p][c][m0,0]x");
}

TEST(ScreenWriter, writesAFewCellsAgainRatherThanNamingAPlace) {
    const ScreenWriter writer{commands()};
    const ScreenCells before = cells({plain("abcdefghijkl")});
    EXPECT_EQ(writer.change(before, cells({plain("Abcdefghijkl")})), "[m0,0]A");
    EXPECT_EQ(writer.change(before, cells({plain("AbcdeFghijkl")})), "[m0,0]AbcdeF");
    EXPECT_EQ(writer.change(before, cells({plain("AbcdefghijkL")})), "[m0,0]A[m0,11]L");
}

TEST(ScreenWriter, changesOnlyTheColorsThatDiffer) {
    const auto span = [](std::string text, ScreenColor foreground, ScreenColor background, bool isBold) {
        return ScreenSpan{.text = std::move(text),
                          .style = Style::plain,
                          .foreground = foreground,
                          .background = background,
                          .isBold = isBold,
                          .isReversed = false,
                          .isUnderlined = false};
    };
    const ScreenColor one = ScreenColor::indexed(1);
    const ScreenColor two = ScreenColor::indexed(2);
    const ScreenLine line{span("a", one, two, false), span("b", two, two, false), span("c", two, two, true),
                          span("d", {}, {}, true)};
    EXPECT_EQ(ScreenWriter{commands()}.all(cells({line})), "[p][c][m0,0][f1][b2]a[f2]b[p][B][f2][b2]c[p][B]d[p]");
}

TEST(ScreenWriter, namesThePlaceBehindCharactersOfUncertainWidth) {
    const ScreenWriter writer{commands()};
    EXPECT_EQ(writer.all(cells({plain("漢a")})), "[p][c][m0,0]漢[m0,2]a");
    EXPECT_EQ(writer.all(cells({plain("█▀a")})), "[p][c][m0,0]█▀a");
}

TEST(ScreenWriter, sparesTheLastCellWhereTheScreenWouldMoveUp) {
    ScreenCommands scrolling = commands();
    scrolling.hasLastCell = false;
    EXPECT_EQ(ScreenWriter{scrolling}.all(cells({plain("ab"), plain("cd")}, 2, 2)), "[p][c][m0,0]ab[m1,0]c");
}

ScreenLine randomLine() {
    static const std::vector<std::string> pieces{"a", "bc", " ", "  ", "漢", "e\u0301", "▀▄", "字漢", "…"};
    ScreenLine line;
    const auto count = *rc::gen::inRange(0, 6);
    for (int index = 0; index < count; ++index) {
        const auto color = [] {
            const auto number = *rc::gen::inRange(0, 4);
            return number == 0 ? ScreenColor{} : ScreenColor::indexed(static_cast<std::uint8_t>(number));
        };
        line.push_back({.text = *rc::gen::elementOf(pieces),
                        .style = *rc::gen::element(Style::plain, Style::quiet, Style::bad),
                        .foreground = color(),
                        .background = color(),
                        .isBold = *rc::gen::arbitrary<bool>(),
                        .isReversed = *rc::gen::arbitrary<bool>(),
                        .isUnderlined = *rc::gen::arbitrary<bool>()});
    }
    return line;
}

RC_GTEST_PROP(ScreenWriter, makesATerminalThatShowsOneScreenShowAnother, ()) {
    const auto columns = *rc::gen::inRange<std::size_t>(1, 9);
    const ScreenWriter writer{commands()};
    SmallTerminal terminal{columns, 2};
    ScreenCells shown = cells({randomLine(), randomLine()}, columns, 2, ColorDepth::indexed);
    terminal.take(writer.all(shown));
    RC_ASSERT(terminal.shows(shown));
    for (int step = 0; step < 4; ++step) {
        const ScreenCells wanted = cells({randomLine(), randomLine()}, columns, 2, ColorDepth::indexed);
        terminal.take(writer.change(shown, wanted));
        RC_ASSERT(terminal.shows(wanted));
        shown = wanted;
    }
}

}  // namespace

}  // namespace KestrelCLI
