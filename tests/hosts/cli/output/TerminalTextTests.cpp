#include "output/TerminalText.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

TEST(TerminalText, showsControlAndBidirectionalCharactersAsEscapesOnOneLine) {
    struct Case {
        std::string text;
        std::string shown;
    };
    const Case cases[] = {
        {"plain name.txt", "plain name.txt"},
        {"Übergröße 写真 🦅", "Übergröße 写真 🦅"},
        {"two\nlines\r\tand", "two\\nlines\\r\\tand"},
        {"\x1b[31mred\x07", "\\x1b[31mred\\x07"},
        {"\x1b]52;c;aGk=\x07", "\\x1b]52;c;aGk=\\x07"},  // would set the clipboard
        {std::string{"nul\0end", 7}, "nul\\x00end"},
        {"\x7f", "\\x7f"},
        {"\xC2\x9B", "\\u{9b}"},                               // C1: a one-character CSI
        {"gpj.\xE2\x80\xAEtxt", "gpj.\\u{202e}txt"},           // right-to-left override
        {"\xE2\x81\xA6x\xE2\x81\xA9", "\\u{2066}x\\u{2069}"},  // isolates
        {"a\xE2\x80\x8B"
         "b",
         "a\\u{200b}b"},  // zero-width space
        {"\xEF\xBB\xBFx", "\\u{feff}x"},
        {"a\xE2\x80\xA8"
         "b",
         "a\\u{2028}b"},  // line separator
        {"\xFF\xFE", "\\xff\\xfe"},
        {"\xE2\x82", "\\xe2\\x82"},           // cut off
        {"\xED\xA0\x80", "\\xed\\xa0\\x80"},  // a surrogate
        {"\xC0\xAF", "\\xc0\\xaf"},           // overlong
        {"x\U0000FE0Fy", "x\\u{fe0f}y"},      // a variation selector
        {"\U0001BCA0", "\\u{1bca0}"},         // a shorthand control
        {"\U00013430", "\\u{13430}"},         // a hieroglyph joiner
        {"\U000E0041\U0001D173\U0000180F", "\\u{e0041}\\u{1d173}\\u{180f}"},
        {"\U000110BD\U00000600", "\\u{110bd}\\u{600}"},                        // format characters that show something
        {"\U00000301\U00000915\U0000094D", "\U00000301\U00000915\U0000094D"},  // marks are part of words
        {"back\\slash", "back\\\\slash"},                                      // so that \n is never a name's own text
        {"", ""},
    };
    for (const auto& [text, shown] : cases)
        EXPECT_EQ(TerminalText::escaped(text), shown) << testing::PrintToString(text);
}

TEST(TerminalText, countsColumnsRatherThanBytes) {
    EXPECT_EQ(TerminalText::width("abc"), 3U);
    EXPECT_EQ(TerminalText::width("größe"), 5U);
    EXPECT_EQ(TerminalText::width("gro\xCC\x88\xC3\x9F"
                                  "e"),
              5U);  // o with a combining diaeresis
    EXPECT_EQ(TerminalText::width("写真"), 4U);
    EXPECT_EQ(TerminalText::width("🦅"), 2U);
    EXPECT_EQ(TerminalText::width(""), 0U);
}

TEST(TerminalText, shortensInTheMiddleAndNeverPassesTheWidth) {
    EXPECT_EQ(TerminalText::shortened("/short", 6), "/short");
    EXPECT_EQ(TerminalText::shortened("/home/someone/Downloads/film.mkv", 16), "/home…s/film.mkv");
    EXPECT_EQ(TerminalText::shortened("abc", 1), "…");
    EXPECT_EQ(TerminalText::shortened("abc", 0), "");
    const std::string wide = "写真写真写真写真写真";
    for (std::size_t columns = 0; columns <= 20; ++columns) {
        EXPECT_LE(TerminalText::width(TerminalText::shortened(wide, columns)), columns) << columns;
    }
}

TEST(TerminalText, wrapsBehindSlashesElseBlanksElseWhereTheLineIsFull) {
    using Pieces = std::vector<std::string_view>;
    EXPECT_EQ(TerminalText::wrapped("", 5), Pieces{""});
    EXPECT_EQ(TerminalText::wrapped("/usr/share/doc", 20), Pieces{"/usr/share/doc"});
    EXPECT_EQ(TerminalText::wrapped("/usr/share/doc", 12), (Pieces{"/usr/share/", "doc"}));
    EXPECT_EQ(TerminalText::wrapped("/a/longername", 8), (Pieces{"/a/longe", "rname"}));
    EXPECT_EQ(TerminalText::wrapped("some words here", 11), (Pieces{"some words ", "here"}));
    EXPECT_EQ(TerminalText::wrapped("写真写", 3), (Pieces{"写", "真", "写"}));
    EXPECT_EQ(TerminalText::wrapped("写", 1), Pieces{"写"});
    for (std::size_t columns = 1; columns < 30; ++columns) {
        const std::string text = "/home/anna/größe 写真/a b c/x";
        std::string whole;
        for (const std::string_view piece : TerminalText::wrapped(text, columns)) whole += piece;
        EXPECT_EQ(whole, text) << columns;
    }
}

TEST(TerminalText, showsOnlyASCIIWhereNothingElseCanBe) {
    EXPECT_EQ(TerminalText::escaped("größe “a”\\", Characters::ascii), "gr\\u{f6}\\u{df}e \\u{201c}a\\u{201d}\\\\");
    EXPECT_EQ(TerminalText::shortened("/home/someone/film.mkv", 12, Characters::ascii), "/ho...lm.mkv");
    EXPECT_EQ(TerminalText::shortened("abcdef", 2, Characters::ascii), "..");
}

TEST(TerminalText, padsByColumnsOnEitherSide) {
    EXPECT_EQ(TerminalText::padded("写", 4), "写  ");
    EXPECT_EQ(TerminalText::padded("7", 3, true), "  7");
    EXPECT_EQ(TerminalText::padded("long", 2), "long");
}

}  // namespace KestrelCLI
