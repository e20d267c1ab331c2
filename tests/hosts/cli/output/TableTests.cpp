#include "output/Table.hpp"
#include "output/Terminal.hpp"
#include "output/TerminalText.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>

namespace KestrelCLI {

TEST(Table, alignsByColumnsAndEndsNoLineInBlanks) {
    Table table{{{.title = "Size", .align = Table::Align::right}, {.title = "Name"}}};
    table.addRow({{"9 kB"}, {"写"}});
    table.addRow({{"120 MB"}, {"b"}});
    std::ostringstream out;
    table.write(out, 0, false);
    EXPECT_EQ(out.str(), "  Size  Name\n  9 kB  写\n120 MB  b\n");
}

TEST(Table, shortensTheColumnThatMayShrinkToFitTheWidth) {
    Table table{{{.title = ""}, {.title = "", .shrinks = true}}};
    table.addRow({{"1"}, {"/a/very/long/path/to/some/file.txt"}});
    std::ostringstream out;
    table.write(out, 20, false);
    std::string line = out.str();
    line.pop_back();
    EXPECT_EQ(TerminalText::width(line), 20U) << line;
    EXPECT_TRUE(line.ends_with("file.txt")) << line;
}

TEST(Terminal, paintsOnlyWhenThereIsColor) {
    EXPECT_EQ(painted(Style::bad, "x", false), "x");
    EXPECT_EQ(painted(Style::bad, "x", true), "\x1b[31mx\x1b[0m");
    EXPECT_EQ(painted(Style::plain, "x", true), "x");
}

TEST(Terminal, drawsBarsOfExactlyTheWidth) {
    EXPECT_EQ(bar(0, 4), "    ");
    EXPECT_EQ(bar(0.5, 4), "██  ");
    EXPECT_EQ(bar(1, 4), "████");
    EXPECT_EQ(bar(0.125, 1), "▏");
    for (const double fraction : {-1.0, 0.001, 0.33, 0.999, 1.5, std::nan("")}) {
        EXPECT_EQ(TerminalText::width(bar(fraction, 7)), 7U) << fraction;
    }
}

}  // namespace KestrelCLI
