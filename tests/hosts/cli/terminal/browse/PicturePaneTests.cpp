#include "terminal/browse/PicturePane.hpp"

#include "terminal/ScreenCells.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCLI {

namespace {

using Kind = ScreenKey::Kind;
using testing::HasSubstr;

PictureItem item(std::string name, std::int64_t bytes, std::optional<std::int64_t> change = {}) {
    return {
        .name = std::move(name), .bytes = bytes, .isFolder = false, .category = {}, .change = change, .children = {}};
}

PictureItem folder(std::string name, std::vector<PictureItem> children) {
    PictureItem out = item(std::move(name), 0);
    out.isFolder = true;
    for (const PictureItem& child : children) out.bytes += child.bytes;
    out.children = std::move(children);
    return out;
}

std::vector<PictureItem> fourItems() {
    return {item("small", 50'000), folder("large", {item("one", 120'000), item("two", 80'000)}),
            item("middle", 100'000), item("also", 50'000)};
}

/// A pane as it is seen.
class Shown {
public:
    Shown(const PicturePane& pane, std::size_t columns, std::size_t rows, std::optional<std::size_t> chosen,
          ColorDepth depth = ColorDepth::direct)
        : lines_{pane.lines(chosen)}, cells_{lines_, columns, rows, depth, Characters::unicode} {}

    [[nodiscard]] std::size_t lineCount() const { return lines_.size(); }
    [[nodiscard]] std::string line(std::size_t row) const {
        std::string out;
        for (std::size_t column = 0; column < cells_.columns(); ++column) out += cells_.at(row, column).text;
        return out;
    }
    [[nodiscard]] std::string text() const {
        std::string out;
        for (std::size_t row = 0; row < cells_.rows(); ++row) out += line(row) + '\n';
        return out;
    }
    [[nodiscard]] const ScreenCell& at(std::size_t row, std::size_t column) const { return cells_.at(row, column); }
    /// How many cells have that look.
    template <typename Test>
    [[nodiscard]] std::size_t count(Test test) const {
        std::size_t count = 0;
        for (std::size_t row = 0; row < cells_.rows(); ++row) {
            for (std::size_t column = 0; column < cells_.columns(); ++column)
                count += test(cells_.at(row, column).look);
        }
        return count;
    }

private:
    std::vector<ScreenLine> lines_;
    ScreenCells cells_;
};

PicturePane pane(std::vector<PictureItem> items, std::size_t columns, std::size_t rows,
                 const PicturePane::Options& options) {
    PicturePane out{std::move(items), options};
    out.resize(columns, rows);
    return out;
}

constexpr PicturePane::Options colored{.characters = Characters::unicode,
                                       .colors = ColorDepth::direct,
                                       .coloring = PictureColoring::places,
                                       .units = SizeUnits::decimal};
constexpr PicturePane::Options plain{.characters = Characters::unicode,
                                     .colors = ColorDepth::none,
                                     .coloring = PictureColoring::places,
                                     .units = SizeUnits::decimal};
constexpr PicturePane::Options ascii{.characters = Characters::ascii,
                                     .colors = ColorDepth::none,
                                     .coloring = PictureColoring::places,
                                     .units = SizeUnits::decimal};

TEST(PicturePane, showsNamesAndSizesWithinTheirRectangles) {
    const Shown shown{pane(fourItems(), 60, 16, colored), 60, 16, 1};
    EXPECT_EQ(shown.lineCount(), 16U);
    EXPECT_THAT(shown.line(0), HasSubstr("large/"));
    EXPECT_THAT(shown.line(0), HasSubstr("200 kB"));
    EXPECT_THAT(shown.text(), HasSubstr("one"));
    EXPECT_THAT(shown.text(), HasSubstr("middle"));
    EXPECT_THAT(shown.text(), HasSubstr("also"));
}

TEST(PicturePane, fillsItsRoomInEverySize) {
    for (const auto& options : {colored, plain, ascii}) {
        for (const auto& [columns, rows] : std::vector<std::pair<std::size_t, std::size_t>>{
                 {0, 0}, {1, 1}, {1, 30}, {30, 1}, {2, 2}, {3, 3}, {20, 5}, {200, 60}}) {
            const Shown shown{pane(fourItems(), columns, rows, options), columns, rows, 2, options.colors};
            EXPECT_EQ(shown.lineCount(), rows);
            if (rows < 4 || columns < 20 || options.colors == ColorDepth::none) continue;
            // All cells are coloured.
            EXPECT_EQ(shown.count([](const CellLook& look) { return look.background.isNone(); }), 0U) << columns;
        }
    }
}

TEST(PicturePane, framesWhatIsChosenInWhite) {
    PicturePane four = pane(fourItems(), 60, 16, colored);
    const auto isWhite = [](const CellLook& look) {
        return look.background == ScreenColor::rgb(252, 252, 252) || look.foreground == ScreenColor::rgb(252, 252, 252);
    };
    const std::size_t without = Shown{four, 60, 16, {}}.count(isWhite);
    for (const std::size_t chosen : {0U, 1U, 2U, 3U})
        EXPECT_GT((Shown{four, 60, 16, chosen}.count(isWhite)), without + 10);
    // The row with its name, from one side to the other.
    EXPECT_EQ((Shown{four, 60, 16, 1}.at(0, 0).look.background), ScreenColor::rgb(252, 252, 252));
    EXPECT_EQ((Shown{four, 60, 16, 1}.at(0, 15).look.background), ScreenColor::rgb(252, 252, 252));
}

TEST(PicturePane, drawsLinesWhereThereIsNoColor) {
    const Shown shown{pane(fourItems(), 60, 16, plain), 60, 16, 2, ColorDepth::none};
    EXPECT_EQ(shown.line(0).substr(0, 3), "┌");
    EXPECT_THAT(shown.line(15), testing::EndsWith("┘"));
    EXPECT_THAT(shown.text(), HasSubstr("┤"));
    EXPECT_THAT(shown.text(), HasSubstr("> middle"));
    EXPECT_THAT(shown.text(), HasSubstr("large/"));
    EXPECT_GT(shown.count([](const CellLook& look) { return look.isReversed; }), 20U);
    EXPECT_EQ(shown.count([](const CellLook& look) { return !look.foreground.isNone() || !look.background.isNone(); }),
              0U);
}

TEST(PicturePane, getsAlongWithASCII) {
    std::vector<PictureItem> items = fourItems();
    items[2].name = "h\u00f6chste−";
    items[2].change = -4'000;
    const Shown shown{pane(items, 60, 16, ascii), 60, 16, 2, ColorDepth::none};
    EXPECT_EQ(shown.line(0).substr(0, 4), "+---");
    for (const char byte : shown.text()) EXPECT_TRUE(byte == '\n' || (byte >= 0x20 && byte < 0x7F)) << +byte;
    EXPECT_THAT(shown.text(), HasSubstr("-4.00 kB"));
}

TEST(PicturePane, showsHostileNamesAsTheyAreShownEverywhere) {
    const std::string flood = "z" + [] {
        std::string marks;
        for (int count = 0; count < 2000; ++count) marks += "\u0301";
        return marks;
    }();
    for (const auto& options : {colored, plain}) {
        const Shown shown{
            pane({item("a\x1b[2J\nb", 100), item("漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字", 90), item("\u202Ee", 80),
                  item("bad\xff", 70), item(flood, 60), item(std::string(4096, 'x'), 50)},
                 44, 14, options),
            44, 14, 0, options.colors};
        EXPECT_EQ(shown.text().find('\x1b'), std::string::npos);
        EXPECT_THAT(shown.text(), HasSubstr("\\x1b[2J"));
        EXPECT_THAT(shown.text(), HasSubstr("\\u{202e}"));
        EXPECT_THAT(shown.text(), HasSubstr("bad\\xff"));
        EXPECT_THAT(shown.text(), HasSubstr("漢"));
        for (std::size_t row = 0; row < 14; ++row) EXPECT_EQ(TerminalText::width(shown.line(row)), 44U) << row;
    }
}

TEST(PicturePane, tellsWhatChangedByColorLightnessAndSign) {
    PicturePane::Options changes = colored;
    changes.coloring = PictureColoring::changes;
    const Shown shown{
        pane({item("grew", 100'000, 100'000), item("shrank", 100'000, -100'000), item("same", 100'000, 0)}, 60, 16,
             changes),
        60,
        16,
        {}};
    EXPECT_THAT(shown.text(), HasSubstr("+100 kB"));
    EXPECT_THAT(shown.text(), HasSubstr("−100 kB"));
    const auto groundOf = [&](std::string_view name) {
        for (std::size_t row = 0; row < 16; ++row) {
            for (std::size_t column = 0; column + 1 < 60; ++column) {
                if (shown.at(row, column).text == name.substr(0, 1) && shown.at(row, column).look.isBold &&
                    shown.at(row, column + 1).text == name.substr(1, 1))
                    return shown.at(row, column).look.background.parts();
            }
        }
        return ScreenColor::Parts{};
    };
    const ScreenColor::Parts grew = groundOf("grew");
    const ScreenColor::Parts shrank = groundOf("shrank");
    const ScreenColor::Parts same = groundOf("same");
    EXPECT_GT(grew.red, grew.green);
    EXPECT_GT(shrank.green, shrank.red);
    const auto lightness = [](const ScreenColor::Parts& parts) { return 3 * parts.red + 6 * parts.green + parts.blue; };
    EXPECT_GT(lightness(grew), lightness(same) + 200);
    EXPECT_LT(lightness(shrank), lightness(same) - 200);
}

TEST(PicturePane, hasAColorForEachPlaceAndKind) {
    PicturePane::Options kinds = colored;
    kinds.coloring = PictureColoring::kinds;
    std::vector<PictureItem> items{item("a", 100), item("b", 90), item("c", 80)};
    items[0].category = KestrelCore::ItemCategory::videos;
    items[1].category = KestrelCore::ItemCategory::music;
    items[2].category = KestrelCore::ItemCategory::videos;
    const auto colorsIn = [](const ScreenLine& legend) {
        std::vector<std::string> names;
        for (const ScreenSpan& span : legend) {
            if (span.style == Style::quiet) names.push_back(span.text);
        }
        return names;
    };
    EXPECT_EQ(colorsIn(pane(items, 60, 16, kinds).legend(60)), (std::vector<std::string>{" videos", " music"}));
    EXPECT_EQ(colorsIn(pane(items, 60, 16, kinds).legend(10)), std::vector<std::string>{" videos"});
    EXPECT_TRUE(pane(items, 60, 16, colored).legend(60).empty());
    EXPECT_TRUE(pane(items, 60, 16, plain).legend(60).empty());
}

TEST(PicturePane, usesOnlyColorsOfTheTerminal) {
    for (const auto& [depth, most] :
         {std::pair{ColorDepth::eight, 7}, std::pair{ColorDepth::sixteen, 15}, std::pair{ColorDepth::indexed, 255}}) {
        PicturePane::Options options = colored;
        options.colors = depth;
        const PicturePane four = pane(fourItems(), 60, 16, options);
        for (const ScreenLine& line : four.lines(1)) {
            for (const ScreenSpan& span : line) {
                for (const ScreenColor color : {span.foreground, span.background})
                    EXPECT_TRUE(color.isNone() || (color.isIndexed() && color.index() <= most));
            }
        }
    }
}

TEST(PicturePane, findsItemsByPlaceAndArrows) {
    for (const auto& options : {colored, plain}) {
        const PicturePane four = pane(fourItems(), 61, 17, options);
        EXPECT_EQ(four.itemAt(0, 0), 1U);
        EXPECT_EQ(four.itemAt(8, 10), 1U);
        EXPECT_EQ(four.pathAt(4, 4), (std::vector<std::size_t>{1, 0}));
        EXPECT_EQ(four.itemAt(15, 58), 3U);
        EXPECT_EQ(four.itemAt(17, 61), std::nullopt);
        EXPECT_EQ(four.neighbour(1, Kind::right), 0U);
        EXPECT_EQ(four.neighbour(2, Kind::left), 1U);
        EXPECT_EQ(four.neighbour(3, Kind::up), 2U);
        EXPECT_EQ(four.neighbour(1, Kind::left), std::nullopt);
    }
}

TEST(PicturePane, saysSoWhereNothingTakesSpace) {
    for (const auto& items : {std::vector<PictureItem>{}, std::vector<PictureItem>{item("empty", 0)}}) {
        const Shown shown{pane(items, 40, 5, colored), 40, 5, 0};
        EXPECT_THAT(shown.line(0), HasSubstr("Nothing here takes space."));
    }
    EXPECT_EQ(PicturePane{}.lines(0).size(), 0U);
    EXPECT_EQ(PicturePane{}.neighbour(0, Kind::left), std::nullopt);
}

}  // namespace

}  // namespace KestrelCLI
