#include "KestrelCore/Base/NaturalOrder.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>
#include <string>
#include <thread>
#include <unicode/ucol.h>
#include <unicode/unistr.h>
#include <vector>

namespace KestrelCore {
namespace {

int signOf(std::weak_ordering order) { return order < 0 ? -1 : order > 0 ? 1 : 0; }

int compare(const Text& a, const Text& b) { return signOf(NaturalOrder::compare(a, b)); }

/// The definition read slowly: no fast path, every tail through ICU, everything made anew for each comparison.
class SlowNaturalOrder {
public:
    static int compare(const std::string& a, const std::string& b) {
        const icu::UnicodeString left = icu::UnicodeString::fromUTF8(a);
        const icu::UnicodeString right = icu::UnicodeString::fromUTF8(b);
        std::int32_t i = 0;
        std::int32_t j = 0;
        int provisional = 0;
        while (i < left.length() && j < right.length()) {
            if (isDigit(left[i]) && isDigit(right[j])) {
                const std::int32_t leftBegin = i;
                const std::int32_t rightBegin = j;
                std::uint64_t leftValue = 0;
                std::uint64_t rightValue = 0;
                while (i < left.length() && isDigit(left[i])) leftValue = leftValue * 10 + digit(left[i++]);
                while (j < right.length() && isDigit(right[j])) rightValue = rightValue * 10 + digit(right[j++]);
                if (leftValue != rightValue) return leftValue < rightValue ? -1 : 1;
                if (provisional == 0) provisional = signOf(i - leftBegin <=> j - rightBegin);
            } else if (left[i] == right[j] || (provisional != 0 && lower(left[i]) == lower(right[j]))) {
                ++i;
                ++j;
            } else {
                break;
            }
        }
        const icu::UnicodeString leftTail = left.tempSubString(i);
        const icu::UnicodeString rightTail = right.tempSubString(j);
        if (leftTail.isEmpty() && rightTail.isEmpty()) return provisional;
        for (const auto& [strength, caseLevel] :
             {std::pair{UCOL_PRIMARY, UCOL_OFF}, std::pair{UCOL_SECONDARY, UCOL_OFF},
              std::pair{UCOL_TERTIARY, UCOL_ON}}) {
            if (const int result = collate(leftTail, rightTail, strength, caseLevel); result != 0) return result;
        }
        return std::clamp<int>(leftTail.compare(rightTail), -1, 1);
    }

private:
    static bool isDigit(char16_t unit) { return unit >= '0' && unit <= '9'; }
    static std::uint64_t digit(char16_t unit) { return static_cast<std::uint64_t>(unit - '0'); }
    static int lower(char16_t unit) { return unit >= 'A' && unit <= 'Z' ? unit + 32 : unit; }
    static int collate(const icu::UnicodeString& a, const icu::UnicodeString& b, UColAttributeValue strength,
                       UColAttributeValue caseLevel) {
        UErrorCode status = U_ZERO_ERROR;
        const std::unique_ptr<UCollator, decltype(&ucol_close)> collator{ucol_open("", &status), ucol_close};
        ucol_setAttribute(collator.get(), UCOL_STRENGTH, strength, &status);
        ucol_setAttribute(collator.get(), UCOL_CASE_LEVEL, caseLevel, &status);
        ucol_setAttribute(collator.get(), UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
        ucol_setAttribute(collator.get(), UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
        return ucol_strcoll(collator.get(), a.getBuffer(), a.length(), b.getBuffer(), b.length());
    }
};

std::string aName(const std::vector<std::string>& pieces, std::size_t longest) {
    std::string name;
    const auto count = *rc::gen::inRange<std::size_t>(0, longest);
    for (std::size_t i = 0; i < count; ++i) name += *rc::gen::elementOf(pieces);
    return name;
}

std::vector<std::string> everyASCIICharacter() {
    std::vector<std::string> pieces;
    for (int c = 0; c < 128; ++c) pieces.emplace_back(1, static_cast<char>(c));
    return pieces;
}

TEST(NaturalOrder, ordersAsAFileBrowserDoes) {
    const std::vector<const char*> ascending = {
        "",  " ",       "_a",       "-a",    ".hidden", "0", "1", "01", "2",         "10",         "a",
        "A", "a 2.png", "a 10.png", "App 2", "App 10",  "b", "e", "é",  "IMG_2.jpg", "img_10.jpg", "z"};
    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t j = 0; j < ascending.size(); ++j) {
            EXPECT_EQ(compare(ascending[i], ascending[j]), signOf(i <=> j)) << ascending[i] << " ? " << ascending[j];
        }
    }
}

TEST(NaturalOrder, leadingZerosDecideOnlyWhenNothingElseDiffers) {
    EXPECT_LT(compare("a1", "a01"), 0);
    EXPECT_GT(compare("a01b", "a1a"), 0);
    EXPECT_LT(compare("a01a", "a1b"), 0);
}

TEST(NaturalOrder, caseIsNoDifferenceAfterDigitRunsOfUnequalLength) { EXPECT_LT(compare("1a", "01A"), 0); }

TEST(NaturalOrder, longDigitRunsWrapAtSixtyFourBits) {
    EXPECT_EQ(compare("18446744073709551617", "1"), 1);  // equal values; the longer run is provisionally more
    EXPECT_LT(compare("18446744073709551616", "1"), 0);  // the value wraps to 0
}

TEST(NaturalOrder, onlyIdenticalCodeUnitsAreEquivalent) {
    EXPECT_EQ(compare("x", "x"), 0);
    EXPECT_NE(compare("\u00E9", "e\u0301"), 0);
    EXPECT_EQ(compare("\u00E9", "e\u0301"), -compare("e\u0301", "\u00E9"));
}

TEST(NaturalOrder, answersOnManyThreadsAtOnce) {
    std::vector<std::thread> threads;
    std::vector<int> results(4);
    for (int& result : results) {
        threads.emplace_back([&result] {
            for (int i = 0; i < 1000; ++i) result += compare("über 2", "Über 10") + compare("a-b", "a_b");
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const int result : results) EXPECT_EQ(result, results.front());
}

RC_GTEST_PROP(NaturalOrder, agreesWithTheSlowReadingForPlainNames, ()) {
    static const std::vector<std::string> pieces = {"a", "A", "b", "B", "z", "0", "1", "2",  "00", "10",     "9",  " ",
                                                    "-", "_", ".", "(", ")", "~", "'", "\"", "$",  "report", "IMG"};
    const std::string a = aName(pieces, 10);
    const std::string b = aName(pieces, 10);
    RC_ASSERT(compare(a, b) == SlowNaturalOrder::compare(a, b));
}

RC_GTEST_PROP(NaturalOrder, agreesWithTheSlowReadingForAnyASCII, ()) {
    static const std::vector<std::string> pieces = everyASCIICharacter();
    const std::string common = aName(pieces, 4);
    const std::string a = common + aName(pieces, 8);
    const std::string b = common + aName(pieces, 8);
    RC_ASSERT(compare(a, b) == SlowNaturalOrder::compare(a, b));
}

RC_GTEST_PROP(NaturalOrder, agreesWithTheSlowReadingBeyondASCII, ()) {
    static const std::vector<std::string> pieces = {"a",    "A", "é",  "e\u0301", "É",      "ß", "ss",
                                                    "日本", "1", "01", "10",      "\u0663", "²", "Ａ",
                                                    "ü",    " ", "-",  "😀",      "\u0307"};
    const std::string a = aName(pieces, 8);
    const std::string b = aName(pieces, 8);
    RC_ASSERT(compare(a, b) == SlowNaturalOrder::compare(a, b));
}

TEST(NaturalOrder, agreesWithTheSlowReadingForEveryPairOfASCIICharacters) {
    for (int a = 1; a < 128; ++a) {
        for (int b = 1; b < 128; ++b) {
            const std::string left{static_cast<char>(a)};
            const std::string right{static_cast<char>(b)};
            ASSERT_EQ(compare(left, right), SlowNaturalOrder::compare(left, right)) << a << " " << b;
        }
    }
}

TEST(NaturalOrder, agreesWithTheSlowReadingForVeryLongNumbers) {
    for (const std::size_t length : {199U, 200U, 201U, 254U, 255U, 300U, 600U}) {
        const std::string ones(length, '1');
        const std::string zeros(length, '0');
        for (const auto& [a, b] :
             {std::pair{"x" + ones, "y" + ones}, std::pair{"A" + ones + "a", "a" + ones + "2"},
              std::pair{"A" + zeros + "1", std::string{"a1"}}, std::pair{"A" + ones + "2", "a" + ones + "1"}}) {
            EXPECT_EQ(compare(a, b), SlowNaturalOrder::compare(a, b)) << a << " ? " << b;
        }
    }
}

}  // namespace
/// Names whose pairwise order goes in circles: numbers beyond 64 bits, and padded ones beside accented capitals.
const std::vector<std::vector<Text>>& circles() {
    static const std::vector<std::vector<Text>> names = {
        {"A18446744073709551616", "A0000000000000000000000000", "a1"},
        {"01Aé", "1aÉ", "1Aé"},
    };
    return names;
}

std::vector<Text> sorted(std::vector<Text> names) {
    std::sort(names.begin(), names.end(),
              [](const Text& a, const Text& b) { return NaturalOrder::compareInList(a, b) < 0; });
    return names;
}

TEST(NaturalOrder, pairsCanGoInCirclesAndAListCannot) {
    for (const std::vector<Text>& circle : circles()) {
        for (std::size_t i = 0; i < circle.size(); ++i)
            EXPECT_LT(compare(circle[i], circle[(i + 1) % circle.size()]), 0) << i << circle[i].view();
        std::vector<std::size_t> order = {0, 1, 2};
        const std::vector<Text> expected = sorted(circle);
        do {
            std::vector<Text> names;
            for (const std::size_t i : order) names.push_back(circle[i]);
            EXPECT_EQ(sorted(names), expected);
        } while (std::next_permutation(order.begin(), order.end()));
    }
}

/// Few kinds of pieces, so that equal numbers, paddings and cases meet often.
const std::vector<std::string>& oddPieces() {
    static const std::vector<std::string> pieces = {
        "a", "A",  "b",  "B",      "é",      "É",      "e\u0301", "ß", "0", "1",
        "2", "00", "01", "\u0663", "\uFF11", "\uFF21", "\x01",    "-", " ", "18446744073709551616"};
    return pieces;
}

RC_GTEST_PROP(NaturalOrder, isATotalOrderInAList, ()) {
    std::vector<Text> names;
    for (int i = 0; i < 6; ++i) names.emplace_back(aName(oddPieces(), 7));
    const auto order = [](const Text& a, const Text& b) { return signOf(NaturalOrder::compareInList(a, b)); };
    for (const Text& a : names) {
        for (const Text& b : names) {
            RC_ASSERT(order(a, b) == -order(b, a));
            RC_ASSERT((order(a, b) == 0) == (a.view() == b.view()));
            for (const Text& c : names) RC_ASSERT(!(order(a, b) < 0 && order(b, c) < 0) || order(a, c) < 0);
        }
    }
    std::vector<Text> other = names;
    std::reverse(other.begin(), other.end());
    std::rotate(other.begin(), other.begin() + *rc::gen::inRange(0, 6), other.end());
    RC_ASSERT(sorted(names) == sorted(other));
}

RC_GTEST_PROP(NaturalOrder, aListAgreesWithPairsForPlainNames, ()) {
    static const std::vector<std::string> pieces = {"a",  "A",  "b",  "B", "z",  "0", "1",      "2",
                                                    "00", "01", "10", "9", " ",  "-", "_",      ".",
                                                    "(",  ")",  "~",  "'", "\"", "$", "report", "IMG"};
    const Text a = aName(pieces, 10);
    const Text b = aName(pieces, 10);
    const bool areSmall = a.byteCount() < 19 && b.byteCount() < 19;  // so that no number wraps
    RC_PRE(areSmall);
    RC_ASSERT(NaturalOrder::compareInList(a, b) == NaturalOrder::compare(a, b));
}

/// Every name of up to four of these characters, so that no pair that contradicts another is missed by chance.
TEST(NaturalOrder, aListOfPlainNamesIsSortedByPairsToo) {
    std::vector<Text> names;
    std::vector<std::string> last = {""};
    for (int length = 1; length <= 4; ++length) {
        std::vector<std::string> longer;
        for (const std::string& name : last) {
            for (const char c : {'a', 'A', '0', '1', '_'}) longer.push_back(name + c);
        }
        names.insert(names.end(), longer.begin(), longer.end());
        last = std::move(longer);
    }
    names = sorted(std::move(names));
    std::size_t contradictions = 0;
    for (std::size_t i = 0; i < names.size(); ++i) {
        for (std::size_t j = i + 1; j < names.size(); ++j) {
            if (NaturalOrder::compare(names[i], names[j]) >= 0) ++contradictions;
        }
    }
    EXPECT_EQ(contradictions, 0U) << names.size();
}

}  // namespace KestrelCore
