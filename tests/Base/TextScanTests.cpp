#include "Base/TextScan.hpp"

#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCore {
namespace {

TEST(TextScan, oneByteAboveASCIIIsFoundAtEveryPlace) {
    for (std::size_t length = 1; length <= 70; ++length) {
        std::string text(length, 'a');
        EXPECT_TRUE(isASCII(text));
        for (std::size_t place = 0; place < length; ++place) {
            text[place] = '\x80';
            EXPECT_FALSE(isASCII(text)) << length << " " << place;
            EXPECT_FALSE(isWellFormedUTF8(text)) << length << " " << place;
            text[place] = 'a';
        }
    }
}

TEST(TextScan, oneScalarAboveLatinIsFoundAtEveryPlace) {
    for (std::size_t length = 0; length <= 130; ++length) {
        const std::string text(length, 'a');
        EXPECT_TRUE(isPlainLatin(text + "\u00E9\u02FF"));
        EXPECT_FALSE(isPlainLatin(text + "\u0300" + text));
    }
}

TEST(TextScan, everyMaximalIllFormedPieceBecomesOneReplacement) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"plain", "plain"},
        {"\xC3\xA9", "\u00E9"},
        {"\x80", "\uFFFD"},                                // a continuation without a start
        {"\xC0\xAF", "\uFFFD\uFFFD"},                      // overlong "/"
        {"\xE0\x80\xAF", "\uFFFD\uFFFD\uFFFD"},            // overlong "/" in three bytes
        {"\xF0\x80\x80\xAF", "\uFFFD\uFFFD\uFFFD\uFFFD"},  // and in four
        {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},            // a surrogate
        {"\xED\xA0\xBD\xED\xB8\x80", "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},  // above U+10FFFF
        {"\xE6\x97", "\uFFFD"},                            // cut short: one piece
        {"\xF0\x9F\x98", "\uFFFD"},
        {"\xF0\x9F\x98z", "\uFFFDz"},
        {"\xE6\x97\xE6\x97\xA5", "\uFFFD\u65E5"},
        {"\xFF\xFE", "\uFFFD\uFFFD"},
        {"a\xC3", "a\uFFFD"},
    };
    for (const auto& [bytes, expected] : cases) {
        EXPECT_EQ(repairedUTF8(bytes), expected);
        EXPECT_EQ(isWellFormedUTF8(bytes), bytes == expected);
    }
}

TEST(TextScan, knowsTheLastScalarsOfEachLength) {
    for (const char* text : {"\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
                             "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_TRUE(isWellFormedUTF8(text)) << text;
    }
}

TEST(TextScan, normalForms) {
    EXPECT_TRUE(isNormalizedUTF8("\u00E9"));
    EXPECT_FALSE(isNormalizedUTF8("e\u0301"));
    EXPECT_EQ(normalizedUTF8("e\u0301"), "\u00E9");
    EXPECT_EQ(decomposedUTF8("\u00E9"), "e\u0301");
    EXPECT_EQ(normalizedUTF8("\u0958"), "\u0915\u093C");  // excluded from composition
    EXPECT_EQ(normalizedUTF8("q\u0307\u0323"), "q\u0323\u0307");
}

TEST(TextScan, lowercasingAppends) {
    std::string text = "kept ";
    lowercase("A LONG Plain NAME.TXT", text);
    lowercase("\u00C9\u0130x", text);
    EXPECT_EQ(text, "kept a long plain name.txt\u00E9i\u0307x");
}

TEST(TextScan, characterBoundaries) {
    EXPECT_TRUE(characterEnds("").empty());
    EXPECT_EQ(characterEnds("a\r\nb"), (std::vector<std::size_t>{1, 3, 4}));
    EXPECT_EQ(characterEnds("e\u0301x"), (std::vector<std::size_t>{3, 4}));
    EXPECT_FALSE(isCharacterBoundary("e\u0301x", 1));
    EXPECT_TRUE(isCharacterBoundary("e\u0301x", 3));
    EXPECT_TRUE(isCharacterBoundary("e\u0301", 0));
    EXPECT_TRUE(isCharacterBoundary("e\u0301", 3));
    EXPECT_FALSE(isCharacterBoundary("\r\n", 1));
}

}  // namespace
}  // namespace KestrelCore
