#include "Base/TextScan.hpp"
#include "KestrelCore/Base/Text.hpp"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <memory>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>
#include <string>
#include <unicode/brkiter.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>
#include <vector>

// The fast paths of texts against a slow reading that goes through ICU's UTF-16 for everything.

namespace KestrelCore {
namespace {

/// Pieces that meet every path: plain, Latin, marks, syllables, joined emoji, singletons, line ends.
const std::vector<std::string> pieces = {
    "a",      "e",      "E",      "K",          "z",          "0",      ".",      "/",      " ",         "-",
    "\r",     "\n",     "\u00E9", "\u00C9",     "\u00DF",     "\u0130", "\u01D6", "\u0301", "\u0308",    "\u0323",
    "\u0304", "\u212A", "\u1EA1", "\u03A3",     "\u03C2",     "\uFB01", "\uAC00", "\uAC01", "\u1100",    "\u1161",
    "\u11A8", "\u200D", "\uFE0F", "\u0928",     "\u093F",     "\u0CC0", "\u09CB", "\u0600", "\u00A0",    "\u00AD",
    "\u65E5", "\u2003", "\u13A0", "\U0001F44D", "\U0001F3FD", "\u037E", "\u0344", "\u0F73", "\U0001F1E9"};

std::string aWellFormedText(std::size_t longest = 8) {
    std::string text;
    const auto count = *rc::gen::inRange<std::size_t>(0, longest);
    for (std::size_t i = 0; i < count; ++i) text += *rc::gen::elementOf(pieces);
    return text;
}

std::string anyBytes() {
    // Bytes at the borders of what is well-formed come up far more often than by chance.
    static const std::vector<std::string> bytes = {"a",    "\x7F", "\x80", "\x8F", "\x90", "\x9F", "\xA0",      "\xBF",
                                                   "\xC0", "\xC1", "\xC2", "\xDF", "\xE0", "\xED", "\xEF",      "\xF0",
                                                   "\xF3", "\xF4", "\xF5", "\xFF", "é",    "日",   "\U0001F600"};
    std::string text;
    const auto count = *rc::gen::inRange<std::size_t>(0, 24);
    for (std::size_t i = 0; i < count; ++i) text += *rc::gen::elementOf(bytes);
    return text;
}

icu::UnicodeString slowNormalForm(const std::string& text) {
    UErrorCode status = U_ZERO_ERROR;
    return icu::Normalizer2::getNFCInstance(status)->normalize(icu::UnicodeString::fromUTF8(text), status);
}

std::string utf8(const icu::UnicodeString& units) {
    std::string text;
    return units.toUTF8String(text);
}

/// The characters of a text as ICU finds them, each in normal form C.
std::vector<std::string> slowCharacters(const std::string& text) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::BreakIterator> iterator{
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status)};
    const icu::UnicodeString units = icu::UnicodeString::fromUTF8(text);
    iterator->setText(units);
    std::vector<std::string> characters;
    for (int begin = 0, end = iterator->next(); end != icu::BreakIterator::DONE; begin = end, end = iterator->next()) {
        characters.push_back(utf8(slowNormalForm(utf8(units.tempSubStringBetween(begin, end)))));
    }
    return characters;
}

/// The definition of `contains` on the decomposed scalars.
bool slowContains(const std::string& text, const std::string& other) {
    UErrorCode status = U_ZERO_ERROR;
    const auto* decomposer = icu::Normalizer2::getNFDInstance(status);
    const icu::UnicodeString outer = decomposer->normalize(icu::UnicodeString::fromUTF8(text), status);
    const icu::UnicodeString inner = decomposer->normalize(icu::UnicodeString::fromUTF8(other), status);
    if (inner.isEmpty()) return false;
    for (int at = outer.indexOf(inner); at >= 0; at = outer.indexOf(inner, at + 1)) {
        const int end = at + inner.length();
        if (end >= outer.length()) return true;
        const UChar32 next = outer.char32At(end);
        const auto type = [](UChar32 c) { return u_getIntPropertyValue(c, UCHAR_HANGUL_SYLLABLE_TYPE); };
        const auto before = type(outer.char32At(end - 1));
        const bool isSyllable =
            (before == U_HST_LEADING_JAMO && (type(next) == U_HST_LEADING_JAMO || type(next) == U_HST_VOWEL_JAMO)) ||
            (before == U_HST_VOWEL_JAMO && (type(next) == U_HST_VOWEL_JAMO || type(next) == U_HST_TRAILING_JAMO)) ||
            (before == U_HST_TRAILING_JAMO && type(next) == U_HST_TRAILING_JAMO);
        const bool isTone = next >= 0x1F3FB && next <= 0x1F3FF;
        if (!isSyllable && !isTone && !u_hasBinaryProperty(next, UCHAR_GRAPHEME_EXTEND)) return true;
    }
    return false;
}

RC_GTEST_PROP(TextProperty, equalityOrderAndHashAreThoseOfTheNormalForm, ()) {
    const std::string a = aWellFormedText();
    const std::string b = *rc::gen::arbitrary<bool>() ? utf8(slowNormalForm(a)) : aWellFormedText();
    const int expected = slowNormalForm(a).compareCodePointOrder(slowNormalForm(b));
    const std::weak_ordering actual = Text{a} <=> Text{b};
    RC_ASSERT((Text{a} == Text{b}) == (expected == 0));
    RC_ASSERT((actual < 0) == (expected < 0));
    RC_ASSERT((actual > 0) == (expected > 0));
    RC_ASSERT(expected != 0 || Text{a}.hash() == Text{b}.hash());
}

RC_GTEST_PROP(TextProperty, theOrderIsTotal, ()) {
    std::array<Text, 3> texts = {Text{aWellFormedText(4)}, Text{aWellFormedText(4)}, Text{aWellFormedText(4)}};
    std::sort(texts.begin(), texts.end());
    RC_ASSERT(texts[0] <= texts[1]);
    RC_ASSERT(texts[1] <= texts[2]);
    RC_ASSERT(texts[0] <= texts[2]);
}

RC_GTEST_PROP(TextProperty, formsAreThoseThatICUFinds, ()) {
    const std::string text = aWellFormedText();
    RC_ASSERT(Text{text}.isNormalized() == (utf8(slowNormalForm(text)) == text));
    RC_ASSERT(Text{text}.normalized().view() == utf8(slowNormalForm(text)));
    RC_ASSERT(normalizedUTF8(text) == utf8(slowNormalForm(text)));
    RC_ASSERT(Text{text}.isASCII() == std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; }));
}

RC_GTEST_PROP(TextProperty, prefixesAndSuffixesGoCharacterByCharacter, ()) {
    const std::string a = aWellFormedText();
    const std::string start = a.substr(0, *rc::gen::inRange<std::size_t>(0, a.size() + 1));
    const std::string b = isWellFormedUTF8(start) && *rc::gen::arbitrary<bool>() ? start : aWellFormedText(3);
    const auto outer = slowCharacters(a);
    const auto inner = slowCharacters(b);
    const bool isShorter = inner.size() <= outer.size();
    RC_ASSERT(Text{a}.hasPrefix(b) == (isShorter && std::equal(inner.begin(), inner.end(), outer.begin())));
    RC_ASSERT(Text{a}.hasSuffix(b) == (isShorter && std::equal(inner.rbegin(), inner.rend(), outer.rbegin())));
    RC_ASSERT(Text{a}.count() == outer.size());
}

RC_GTEST_PROP(TextProperty, containsIsDecidedOnDecomposedScalars, ()) {
    const std::string a = aWellFormedText();
    const std::string b = aWellFormedText(3);
    RC_ASSERT(Text{a}.contains(b) == slowContains(a, b));
}

RC_GTEST_PROP(TextProperty, everySliceIsWhatATextOfItsBytesWouldBe, ()) {
    const Text text{aWellFormedText()};
    const std::string_view bytes = text.view();
    for (std::size_t begin = 0; begin <= bytes.size(); ++begin) {
        if (!isWellFormedUTF8(bytes.substr(begin))) continue;
        for (std::size_t length = 0; begin + length <= bytes.size(); ++length) {
            const std::string_view part = bytes.substr(begin, length);
            if (!isWellFormedUTF8(part)) continue;
            const Text slice = text.slice(begin, length);
            const Text fresh{part};
            RC_ASSERT(slice.view() == fresh.view());
            RC_ASSERT(slice.isASCII() == fresh.isASCII());
            RC_ASSERT(slice.isNormalized() == fresh.isNormalized());
        }
    }
}

RC_GTEST_PROP(TextProperty, repairAgreesWithICUAndIsDoneOnce, ()) {
    const std::string bytes = anyBytes();
    const std::string repaired = repairedUTF8(bytes);
    RC_ASSERT(repaired == utf8(icu::UnicodeString::fromUTF8(bytes)));
    RC_ASSERT(isWellFormedUTF8(repaired));
    RC_ASSERT(repairedUTF8(repaired) == repaired);
    RC_ASSERT(isWellFormedUTF8(bytes) == (repaired == bytes));
    RC_ASSERT(Text{bytes}.view() == repaired);
}

RC_GTEST_PROP(TextProperty, piecesOfASplitHoldEveryCharacterThatIsNoWhiteSpace, ()) {
    const std::string text = aWellFormedText();
    std::string expected;
    for (const std::string& character : slowCharacters(text)) {
        UChar32 first = icu::UnicodeString::fromUTF8(character).char32At(0);
        if (!u_hasBinaryProperty(first, UCHAR_WHITE_SPACE)) expected += character;
    }
    std::string actual;
    for (const Text& piece : Text{text}.splitAtWhiteSpace()) {
        RC_ASSERT(!piece.isEmpty());
        actual += piece.view();
    }
    RC_ASSERT(Text{actual} == Text{expected});
}

TEST(TextProperty, everyScalarIsLowercasedAndFoldedAsICUDoesIt) {
    for (UChar32 scalar = 0; scalar <= 0x10FFFF; ++scalar) {
        if (U_IS_SURROGATE(scalar)) continue;
        icu::UnicodeString units{scalar};
        const std::string text = utf8(units);
        const std::string lower = scalar == 0x130 ? "i\u0307" : utf8(icu::UnicodeString{u_tolower(scalar)});
        const bool isCherokeeCapital = scalar >= 0x13A0 && scalar <= 0x13F5;
        std::string actual;
        lowercase(text, actual);
        ASSERT_EQ(actual, lower) << scalar;
        actual.clear();
        foldCase(text, actual);
        ASSERT_EQ(actual, isCherokeeCapital ? lower : utf8(units.foldCase())) << scalar;
    }
}

TEST(TextProperty, everyScalarIsAWordOrWhiteSpaceAsItsPropertiesSay) {
    for (UChar32 scalar = 1; scalar <= 0x3FFF; ++scalar) {
        const Text text{utf8(icu::UnicodeString{scalar})};
        const bool isWord = scalar == '.' || u_hasBinaryProperty(scalar, UCHAR_ALPHABETIC) ||
                            u_getIntPropertyValue(scalar, UCHAR_NUMERIC_TYPE) != U_NT_NONE;
        ASSERT_EQ(text.words().size(), isWord ? 1U : 0U) << scalar;
        ASSERT_EQ(text.splitAtWhiteSpace().empty(), u_hasBinaryProperty(scalar, UCHAR_WHITE_SPACE) != 0) << scalar;
    }
}

TEST(TextProperty, scalarsBelowU0300AreInertAndCharactersOfTheirOwn) {
    UErrorCode status = U_ZERO_ERROR;
    const auto* composer = icu::Normalizer2::getNFCInstance(status);
    for (UChar32 scalar = 0; scalar < 0x300; ++scalar) {
        ASSERT_TRUE(composer->isNormalized(icu::UnicodeString{scalar}, status)) << scalar;
        ASSERT_EQ(u_getCombiningClass(scalar), 0) << scalar;
        ASSERT_FALSE(u_hasBinaryProperty(scalar, UCHAR_GRAPHEME_EXTEND)) << scalar;
        for (const UChar32 other : {UChar32{'a'}, UChar32{0xE9}, UChar32{0xA9}, UChar32{0xAD}}) {
            const std::string pair = utf8(icu::UnicodeString{scalar} + icu::UnicodeString{other});
            ASSERT_EQ(characterEnds(pair).size(), slowCharacters(pair).size()) << scalar << " " << other;
        }
    }
}

}  // namespace
}  // namespace KestrelCore
