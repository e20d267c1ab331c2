#include "output/Table.hpp"
#include "output/Terminal.hpp"
#include "output/TerminalText.hpp"

#include <gtest/gtest.h>

#include <algorithm>
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

TEST(Table, wrapsTheColumnThatMayShrinkBehindItsSlashes) {
    Table table{{{.title = "N", .align = Table::Align::right}, {.title = "Path", .shrinks = true}, {.title = "Kind"}}};
    table.addRow({{"1"}, {"/a/very/long/path/to/some/file.txt"}, {"text"}});
    table.addRow({{"22"}, {"/b"}, {"none"}});
    std::ostringstream out;
    table.write(out, 26, false);
    EXPECT_EQ(out.str(), " N  Path              Kind\n"
                         " 1  /a/very/long/     text\n"
                         "    path/to/some/\n"
                         "    file.txt\n"
                         "22  /b                none\n");
}

TEST(Table, losesNothingAtAnyWidth) {
    const std::string path = "/home/anna/.var/app/org.example.Editor/data/a name with blanks/" + std::string(150, 'x');
    for (const std::size_t columns : {60U, 80U, 120U, 200U}) {
        Table table{{{.title = "", .align = Table::Align::right}, {.title = ""}, {.title = "", .shrinks = true}}};
        table.addRow({{"1.20 GB"}, {"2 years ago"}, {path}});
        std::ostringstream out;
        table.write(out, columns, false);
        std::istringstream lines{out.str()};
        std::string shown;
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(TerminalText::width(line), columns) << line;
            shown += line.substr(22);
        }
        EXPECT_EQ(shown, path);
    }
}

TEST(Table, cutsAColumnThatIsSaidToBeCut) {
    Table table{{{.title = ""}, {.title = "", .shrinks = true, .isCut = true}}};
    table.addRow({{"1"}, {"/usr/bin/program --with many --long options"}});
    std::ostringstream out;
    table.write(out, 30, false);
    EXPECT_EQ(out.str(), "1  /usr/bin…any --long options\n");
    std::ostringstream plain;
    table.write(plain, 30, false, Characters::ascii);
    EXPECT_EQ(plain.str(), "1  /usr/bin...y --long options\n");
}

TEST(Table, boundsTheLinesOfAHostileCell) {
    Table table{{{.title = "", .shrinks = true}}};
    table.addRow({{std::string(100'000, 'x')}});
    std::ostringstream out;
    table.write(out, 40, false);
    const std::string shown = out.str();
    EXPECT_LE(std::ranges::count(shown, '\n'), 17) << shown;
    EXPECT_NE(shown.find("…"), std::string::npos);
}

TEST(Table, endsAColourWithTheLineAndBeginsItAgain) {
    Table table{{{.title = "", .shrinks = true}, {.title = ""}}};
    table.addRow({{.text = "/some/folder/another/name",
                   .style = Style::plain,
                   .paint = [](std::string_view shown) { return painted(Style::bad, shown, true); }},
                  {"end"}});
    std::ostringstream out;
    table.write(out, 21, true);
    EXPECT_EQ(out.str(), "\x1b[31m/some/folder/\x1b[0m     end\n\x1b[31manother/name\x1b[0m\n");
}

TEST(Session, showsNamesAsEscapesAlsoInAPipeAndTheHomeAsATildeOnATerminal) {
    std::ostringstream out;
    Session session{.out = out, .messages = out, .terminal = {}, .options = {}, .home = "/home/anna"};
    EXPECT_EQ(session.shown("a\nb\\é"), "a\\nb\\\\é");
    EXPECT_EQ(session.shownPath("/home/anna/x"), "/home/anna/x");
    session.terminal.isOutput = true;
    EXPECT_EQ(session.shownPath("/home/anna/x\n"), "~/x\\n");
    EXPECT_EQ(session.shownPath("/home/anna"), "~");
    EXPECT_EQ(session.shownPath("/home/annabel/x"), "/home/annabel/x");
    session.terminal.isASCII = true;
    EXPECT_EQ(session.shownPath("/home/anna/é"), "~/\\u{e9}");
    session.home = "/";
    EXPECT_EQ(session.shownPath("/usr"), "/usr");
}

TEST(Terminal, paintsOnlyWhenThereIsColor) {
    EXPECT_EQ(painted(Style::bad, "x", false), "x");
    EXPECT_EQ(painted(Style::bad, "x", true), "\x1b[31mx\x1b[0m");
    EXPECT_EQ(painted(Style::plain, "x", true), "x");
}

TEST(Terminal, usesOnlyColoursThatCanBeReadOnBlackAndOnWhite) {
    for (const Style style : {Style::plain, Style::heading, Style::folder, Style::file, Style::quiet, Style::bar,
                              Style::good, Style::warning, Style::bad, Style::match}) {
        const std::string text = painted(style, "x", true);
        for (const char* unreadable : {"30m", "32m", "33m", "34m", "36m", "37m", "\x1b[9", ";9"})
            EXPECT_EQ(text.find(unreadable), std::string::npos) << text.substr(1);
    }
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
