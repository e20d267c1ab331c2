#include "KestrelCore/Base/Text.hpp"

#include <gtest/gtest.h>
#include <map>
#include <thread>
#include <unordered_map>

namespace KestrelCore {
namespace {

const Text composed{"caf\u00E9"};
const Text decomposed{"cafe\u0301"};

std::vector<std::string> strings(const std::vector<Text>& texts) {
    std::vector<std::string> result;
    for (const Text& text : texts) result.push_back(text.string());
    return result;
}

TEST(Text, equalsAnotherSpellingOfTheSameWordAndKeepsItsOwn) {
    EXPECT_EQ(composed, decomposed);
    EXPECT_EQ(composed.hash(), decomposed.hash());
    EXPECT_EQ(composed <=> decomposed, std::weak_ordering::equivalent);
    EXPECT_EQ(decomposed.view(), "cafe\u0301");
    EXPECT_EQ(decomposed.normalized().view(), "caf\u00E9");
}

TEST(Text, keepsCaseWidthAndCompatibilityFormsApart) {
    for (const auto& [a, b] : {std::pair{"a", "A"}, {"A", "\uFF21"}, {"fi", "\uFB01"}, {"a", "a\u200D"}, {"2", "²"}}) {
        EXPECT_NE(Text{a}, Text{b});
    }
}

TEST(Text, isOrderedByTheScalarsOfItsNormalForm) {
    EXPECT_LT(Text{"/a-b"}, Text{"/a/b"});
    EXPECT_LT(Text{"/a/b"}, Text{"/a0"});
    EXPECT_LT(Text{"a"}, Text{"ab"});
    EXPECT_LT(Text{"Z"}, Text{"a"});
    // By its bytes the decomposed text would come first.
    EXPECT_GT(Text{"e\u0301"}, Text{"ez"});
    // UTF-16 would put these the other way round.
    EXPECT_LT(Text{"\uFF21"}, Text{"\U0001F600"});
}

TEST(Text, findsItsFormWhenItIsMade) {
    EXPECT_TRUE(Text{"plain"}.isASCII());
    EXPECT_TRUE(Text{"plain"}.isNormalized());
    EXPECT_FALSE(composed.isASCII());
    EXPECT_TRUE(composed.isNormalized());
    EXPECT_FALSE(decomposed.isNormalized());
    EXPECT_FALSE(Text{"\u212A"}.isNormalized());  // the kelvin sign is a K
    EXPECT_TRUE(Text{}.isASCII());
    EXPECT_TRUE(Text{""}.isEmpty());
}

TEST(Text, aNewTextReplacesEveryIllFormedPieceOnce) {
    EXPECT_EQ(Text{"a\xFF\x62"}.view(), "a\uFFFDb");
    EXPECT_EQ(Text{"\xED\xA0\x80"}.view(), "\uFFFD\uFFFD\uFFFD");
}

TEST(Text, mayHoldNUL) {
    const Text text{std::string_view{"a\0b", 3}};
    EXPECT_EQ(text.byteCount(), 3U);
    EXPECT_NE(text, Text{"a"});
}

TEST(Text, copiesAndSlicesShareTheBytes) {
    const Text copy = composed;
    EXPECT_EQ(copy.view().data(), composed.view().data());
    const Text slice = composed.slice(1, 2);
    EXPECT_EQ(slice.view(), "af");
    EXPECT_EQ(slice.view().data(), composed.view().data() + 1);
}

TEST(Text, aSliceOutlivesTheTextItWasCutFrom) {
    Text slice;
    {
        const Text whole{"/Users/anna/Documents"};
        slice = whole.slice(12, 9);
    }
    EXPECT_EQ(slice.view(), "Documents");
}

TEST(Text, aSliceFindsItsOwnForm) {
    EXPECT_TRUE(composed.slice(0, 3).isASCII());
    EXPECT_FALSE(composed.slice(2, 3).isASCII());
    EXPECT_TRUE(decomposed.slice(0, 4).isNormalized());
    EXPECT_FALSE(decomposed.slice(3, 3).isNormalized());
    EXPECT_TRUE(composed.slice(5, 0).isEmpty());
}

TEST(TextDeathTest, aSliceBesideAScalarBoundaryOrTheTextStopsTheProcess) {
    EXPECT_DEATH((void)composed.slice(4, 1), "KestrelCore/Text: Fatal error");
    EXPECT_DEATH((void)composed.slice(0, 4), "KestrelCore/Text: Fatal error");
    EXPECT_DEATH((void)composed.slice(3, 10), "KestrelCore/Text: Fatal error");
    EXPECT_DEATH((void)composed.slice(6, 0), "KestrelCore/Text: Fatal error");
    EXPECT_DEATH((void)composed.slice(1, std::string_view::npos), "KestrelCore/Text: Fatal error");
}

TEST(Text, aMovedFromTextIsEmpty) {
    Text source{"abc"};
    const Text taken = std::move(source);
    EXPECT_EQ(taken.view(), "abc");
    EXPECT_TRUE(source.isEmpty());  // NOLINT(bugprone-use-after-move): this is what the test is about
}

TEST(Text, assigningATextToItselfKeepsIt) {
    Text text{"abc"};
    const Text& same = text;
    text = same;
    EXPECT_EQ(text.view(), "abc");
}

TEST(Text, joinsPiecesAndLooksAtWhereTheyMeet) {
    const Text joined = Text::concatenating({"/a", "/", "e", "\u0301"});
    EXPECT_EQ(joined.view(), "/a/e\u0301");
    EXPECT_FALSE(joined.isNormalized());
    EXPECT_TRUE(Text::concatenating({"", "", ""}).isEmpty());
    EXPECT_TRUE(Text::concatenating({"a", "", "b"}).isASCII());
    // Each piece is repaired on its own: two halves do not become a whole.
    EXPECT_EQ(Text::concatenating({"\xC3", "\xA9"}).view(), "\uFFFD\uFFFD");
}

TEST(Text, isSharedBetweenThreads) {
    const Text text{"/Users/anna/Documents/report.pdf"};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([text] {
            for (int j = 0; j < 10'000; ++j) {
                const Text copy = text;
                EXPECT_EQ(copy.slice(22, 6).view(), "report");
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(text.view(), "/Users/anna/Documents/report.pdf");
}

TEST(Text, aMapKeepsTheSpellingOfTheFirstKey) {
    std::unordered_map<Text, int> hashed{{composed, 1}};
    hashed[decomposed] = 2;
    ASSERT_EQ(hashed.size(), 1U);
    EXPECT_EQ(hashed.begin()->first.view(), composed.view());
    EXPECT_EQ(hashed.begin()->second, 2);
    std::map<Text, int> ordered{{composed, 1}};
    ordered[decomposed] = 2;
    EXPECT_EQ(ordered.size(), 1U);
}

TEST(Text, countsCharacters) {
    const std::vector<std::pair<const char*, std::size_t>> cases = {
        {"", 0},
        {"abc", 3},
        {"\r\n", 1},
        {"a\r\n\r\nb", 4},
        {"\n\r", 2},
        {"\u00E9\r\n", 2},
        {"e\u0301", 1},
        {"\u1100\u1161\u11A8", 1},                          // one Hangul syllable out of its parts
        {"\U0001F468\u200D\U0001F469\u200D\U0001F467", 1},  // a family, joined
        {"\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", 2},    // two flags
        {"\U0001F44D\U0001F3FD", 1},                        // a thumb with a skin tone
        {"\u0928\u093F", 1},                                // a vowel sign that takes a place of its own
    };
    for (const auto& [text, count] : cases) EXPECT_EQ(Text{text}.count(), count) << text;
}

TEST(Text, aPrefixEndsWhereACharacterEnds) {
    EXPECT_TRUE(Text{"abc"}.hasPrefix("ab"));
    EXPECT_TRUE(Text{"abc"}.hasPrefix(""));
    EXPECT_TRUE(Text{}.hasPrefix(""));
    EXPECT_FALSE(Text{"ab"}.hasPrefix("abc"));
    EXPECT_FALSE(Text{"e\u0301x"}.hasPrefix("e"));
    EXPECT_TRUE(Text{"e\u0301x"}.hasPrefix("\u00E9"));
    EXPECT_TRUE(Text{"\u00E9x"}.hasPrefix("e\u0301"));
    EXPECT_FALSE(Text{"\r\n"}.hasPrefix("\r"));
    EXPECT_FALSE(Text{"a\u200D"}.hasPrefix("a"));
    EXPECT_FALSE(Text{"\uAC01"}.hasPrefix("\u1100"));
    EXPECT_FALSE(Text{"\uAC01"}.hasPrefix("\uAC00"));
    EXPECT_TRUE(Text{"a\u0301\u0302"}.hasPrefix("a\u0301\u0302"));
}

TEST(Text, aSuffixBeginsWhereACharacterBegins) {
    EXPECT_TRUE(Text{"abc"}.hasSuffix("bc"));
    EXPECT_TRUE(Text{"abc"}.hasSuffix(""));
    EXPECT_FALSE(Text{"xe\u0301"}.hasSuffix("\u0301"));
    EXPECT_TRUE(Text{"xe\u0301"}.hasSuffix("\u00E9"));
    EXPECT_FALSE(Text{"\r\n"}.hasSuffix("\n"));
    EXPECT_FALSE(Text{"\U0001F1E9\U0001F1EA"}.hasSuffix("\U0001F1EA"));
}

TEST(Text, containsWholeOccurrencesOnly) {
    EXPECT_TRUE(Text{"xaby"}.contains("ab"));
    EXPECT_FALSE(Text{"abc"}.contains(""));
    EXPECT_FALSE(Text{}.contains(""));
    EXPECT_FALSE(Text{"abc"}.contains("abcd"));
    EXPECT_TRUE(composed.contains("e\u0301"));
    EXPECT_TRUE(decomposed.contains("\u00E9"));
    EXPECT_FALSE(composed.contains("cafe"));
    EXPECT_FALSE(decomposed.contains("cafe"));
    EXPECT_TRUE(Text{"cafe\u0301 cafe"}.contains("cafe"));  // the second one counts
    EXPECT_TRUE(Text{"\u212Ag"}.contains("K"));             // a kelvin sign is a K
    EXPECT_TRUE(Text{"Kg"}.contains("\u212A"));
    EXPECT_FALSE(Text{"\U0001F44D\U0001F3FD"}.contains("\U0001F44D"));
    EXPECT_FALSE(Text{"\uAC01"}.contains("\uAC00"));  // the syllable goes on
    EXPECT_FALSE(Text{"日本a\u0CC0"}.contains("a"));  // decomposes into a mark first
    EXPECT_TRUE(Text{"a\u0301"}.contains("\u0301"));  // where it begins is not looked at
    EXPECT_TRUE(Text{"/日本/report"}.contains("report"));
}

TEST(Text, lowercasesScalarByScalar) {
    const std::vector<std::pair<const char*, const char*>> cases = {{"ABC xyz 1", "abc xyz 1"},
                                                                    {"\u00C9", "\u00E9"},
                                                                    {"E\u0301", "e\u0301"},
                                                                    {"\u0130", "i\u0307"},
                                                                    {"ΟΔΟΣ", "οδοσ"},
                                                                    {"ß", "ß"},
                                                                    {"ſ", "ſ"},
                                                                    {"\uFB01", "\uFB01"},
                                                                    {"\u212A", "k"},
                                                                    {"\u01C5", "\u01C6"},
                                                                    {"\U00010400", "\U00010428"},
                                                                    {"Ⱥ", "ⱥ"}};
    for (const auto& [text, expected] : cases) EXPECT_EQ(Text{text}.lowercased().view(), expected) << text;
}

TEST(Text, lowercasingWhatIsLowerCaseSharesTheBytes) {
    for (const Text& text : {Text{"abc"}, composed, Text{"日本"}}) {
        EXPECT_EQ(text.lowercased().view().data(), text.view().data());
        EXPECT_EQ(text.folded().view().data(), text.view().data());
    }
}

TEST(Text, foldsScalarByScalar) {
    const std::vector<std::pair<const char*, const char*>> cases = {{"ABC", "abc"},       {"ß", "ss"},
                                                                    {"ẞ", "ss"},          {"ς", "σ"},
                                                                    {"Σ", "σ"},           {"ſ", "s"},
                                                                    {"\uFB01", "fi"},     {"\u0130", "i\u0307"},
                                                                    {"\u00C9", "\u00E9"}, {"\uFF21", "\uFF41"},
                                                                    {"\u13A0", "\uAB70"}, {"\u0149", "\u02BCn"},
                                                                    {"I", "i"},           {"ı", "ı"}};
    for (const auto& [text, expected] : cases) EXPECT_EQ(Text{text}.folded().view(), expected) << text;
}

TEST(Text, splitsAtWhiteSpace) {
    const auto split = [](const char* text) { return strings(Text{text}.splitAtWhiteSpace()); };
    using Pieces = std::vector<std::string>;
    EXPECT_EQ(split(""), Pieces{});
    EXPECT_EQ(split(" \t\r\n "), Pieces{});
    EXPECT_EQ(split("  a bc\td "), (Pieces{"a", "bc", "d"}));
    EXPECT_EQ(split("a\u00A0b\u2003c\u3000d\u0085e"), (Pieces{"a", "b", "c", "d", "e"}));
    EXPECT_EQ(split("a\u200Bb"), Pieces{"a\u200Bb"});   // no white space, in spite of its name
    EXPECT_EQ(split("a \u0301b"), (Pieces{"a", "b"}));  // the mark belongs to the space
}

TEST(Text, wordsAreLettersNumbersAndDots) {
    const auto words = [](const char* text) { return strings(Text{text}.words()); };
    using Pieces = std::vector<std::string>;
    EXPECT_EQ(words(""), Pieces{});
    EXPECT_EQ(words("my_file-v1.2 (final).txt"), (Pieces{"my", "file", "v1.2", "final", ".txt"}));
    EXPECT_EQ(words("½²①五Ⅳ"), Pieces{"½²①五Ⅳ"});
    EXPECT_EQ(words("日本😀語"), (Pieces{"日本", "語"}));
    EXPECT_EQ(words("e\u0301a"), Pieces{"e\u0301a"});
    EXPECT_EQ(words("a.\u0301b"), (Pieces{"a", "b"}));  // a dot with a mark is another character
}

}  // namespace
}  // namespace KestrelCore
