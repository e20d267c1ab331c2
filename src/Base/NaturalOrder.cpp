#include "KestrelCore/Base/NaturalOrder.hpp"

#include "Base/FatalError.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <unicode/ucol.h>
#include <unicode/unistr.h>

// Two names are walked from their starts in UTF-16 code units. Where both have digits, the whole runs are compared by
// value: unequal values decide, equal ones of unequal length (leading zeros) give a provisional result. At the first
// other difference the root collation decides between the two tails, in three passes (letters, accents, case), and
// after those the code units. Only names without any other difference keep the provisional result.

namespace KestrelCore {

namespace {

constexpr std::string_view sourceFile = "KestrelCore/NaturalOrder";

void check(UErrorCode status) {
    if (U_FAILURE(status)) fatalError(sourceFile, u_errorName(status));
}

/// A collator that is never changed after it was made, which is what lets threads share it.
class Collator {
public:
    Collator(UColAttributeValue strength, UColAttributeValue caseLevel) {
        UErrorCode status = U_ZERO_ERROR;
        // "" is the root; the default locale would bring the user's settings, or those of POSIX, into the order.
        collator_ = ucol_open("", &status);
        check(status);
        ucol_setAttribute(collator_, UCOL_STRENGTH, strength, &status);
        ucol_setAttribute(collator_, UCOL_CASE_LEVEL, caseLevel, &status);
        ucol_setAttribute(collator_, UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
        ucol_setAttribute(collator_, UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE, &status);
        ucol_setAttribute(collator_, UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
        check(status);
    }
    Collator(const Collator&) = delete;
    Collator& operator=(const Collator&) = delete;

    [[nodiscard]] int compare(std::u16string_view a, std::u16string_view b) const {
        return ucol_strcoll(collator_, a.data(), static_cast<std::int32_t>(a.size()), b.data(),
                            static_cast<std::int32_t>(b.size()));
    }

private:
    UCollator* collator_;
};

int signOf(std::weak_ordering order) { return order < 0 ? -1 : order > 0 ? 1 : 0; }

template <typename Unit>
bool isDigit(Unit unit) {
    return unit >= '0' && unit <= '9';
}

template <typename Unit>
bool isASCIILetter(Unit unit) {
    return (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z');
}

template <typename Unit>
struct DigitRun {
    std::uint64_t value = 0;  ///< wraps at 64 bits, as the order is defined
    std::size_t end = 0;
};

template <typename Unit>
DigitRun<Unit> digitRun(std::basic_string_view<Unit> text, std::size_t begin) {
    DigitRun<Unit> run{0, begin};
    for (; run.end < text.size() && isDigit(text[run.end]); ++run.end) {
        run.value = run.value * 10 + static_cast<std::uint64_t>(text[run.end] - '0');
    }
    return run;
}

/// Walks what is equal. The tails begin where the walk stopped; both are empty when it came through.
template <typename Unit>
struct Walk {
    std::optional<int> decided;  ///< by two digit runs
    int provisional = 0;
    std::basic_string_view<Unit> a;
    std::basic_string_view<Unit> b;
};

template <typename Unit>
Walk<Unit> walk(std::basic_string_view<Unit> a, std::basic_string_view<Unit> b) {
    Walk<Unit> result;
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            const DigitRun<Unit> left = digitRun(a, i);
            const DigitRun<Unit> right = digitRun(b, j);
            if (left.value != right.value) {
                result.decided = left.value < right.value ? -1 : 1;
                return result;
            }
            const std::size_t leftLength = left.end - i;
            const std::size_t rightLength = right.end - j;
            if (result.provisional == 0 && leftLength != rightLength) {
                result.provisional = leftLength < rightLength ? -1 : 1;
            }
            i = left.end;
            j = right.end;
        } else if (a[i] == b[j] || (result.provisional != 0 && isASCIILetter(a[i]) && isASCIILetter(b[j]) &&
                                    (a[i] | 0x20) == (b[j] | 0x20))) {
            ++i;
            ++j;
        } else {
            break;
        }
    }
    result.a = a.substr(i);
    result.b = b.substr(j);
    return result;
}

/// The three passes. Never destroyed: a thread that is left behind may still compare while the process ends.
const std::array<Collator, 3>& collators() {
    static const auto& passes = *new std::array<Collator, 3>{
        Collator{UCOL_PRIMARY, UCOL_OFF}, Collator{UCOL_SECONDARY, UCOL_OFF}, Collator{UCOL_TERTIARY, UCOL_ON}};
    return passes;
}

int compareTails(std::u16string_view a, std::u16string_view b) {
    for (const Collator& pass : collators()) {
        if (const int result = pass.compare(a, b); result != 0) return result;
    }
    return signOf(a.compare(b) <=> 0);
}

/// Where each printable ASCII character stands among them by letters alone; A and a share a place.
using PrimaryRanks = std::array<std::uint8_t, 128>;

const PrimaryRanks& primaryRanks() {
    static const PrimaryRanks ranks = [] {
        PrimaryRanks counted{};
        const Collator& letters = collators().front();
        for (char16_t c = ' '; c <= '~'; ++c) {
            for (char16_t other = ' '; other <= '~'; ++other) {
                if (letters.compare({&other, 1}, {&c, 1}) < 0) ++counted[c];
            }
        }
        return counted;
    }();
    return ranks;
}

/// Beyond this many digits the collation cuts a number in pieces.
constexpr std::size_t longestNumber = 200;

/// What the three passes give for printable ASCII, without them: no such character is ignored, combines with another
/// or has an accent, so the first pass compares places and numbers, the second nothing, and the third the first letter
/// that differs in case. Empty when a tail holds anything else.
std::optional<int> compareASCIITails(std::string_view a, std::string_view b) {
    const PrimaryRanks& ranks = primaryRanks();
    const auto isPrintable = [](char c) { return c >= ' ' && c <= '~'; };
    int byCase = 0;
    std::optional<int> byLetters;
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (!isPrintable(a[i]) || !isPrintable(b[j])) return std::nullopt;
        if (isDigit(a[i]) && isDigit(b[j])) {
            const std::size_t leftEnd = digitRun(a, i).end;
            const std::size_t rightEnd = digitRun(b, j).end;
            if (leftEnd - i > longestNumber || rightEnd - j > longestNumber) return std::nullopt;
            while (i + 1 < leftEnd && a[i] == '0') ++i;
            while (j + 1 < rightEnd && b[j] == '0') ++j;
            int order = signOf(leftEnd - i <=> rightEnd - j);
            if (order == 0) order = signOf(a.substr(i, leftEnd - i).compare(b.substr(j, rightEnd - j)) <=> 0);
            if (order != 0) {
                byLetters = order;
                break;
            }
            i = leftEnd;
            j = rightEnd;
            continue;
        }
        const auto left = ranks[static_cast<unsigned char>(a[i])];
        const auto right = ranks[static_cast<unsigned char>(b[j])];
        if (left != right) {
            byLetters = left < right ? -1 : 1;
            break;
        }
        if (byCase == 0 && a[i] != b[j]) byCase = a[i] > b[j] ? -1 : 1;  // small letters come first
        ++i;
        ++j;
    }
    // A character that is ignored could stand behind the difference, in a number or alone.
    if (!std::all_of(a.begin() + static_cast<std::ptrdiff_t>(i), a.end(), isPrintable) ||
        !std::all_of(b.begin() + static_cast<std::ptrdiff_t>(j), b.end(), isPrintable)) {
        return std::nullopt;
    }
    if (byLetters.has_value()) return byLetters;
    if (i < a.size() || j < b.size()) return i < a.size() ? 1 : -1;
    return byCase != 0 ? byCase : signOf(a.compare(b) <=> 0);
}

/// Code units of a text, as the order is defined on.
icu::UnicodeString codeUnits(const Text& text) {
    if (text.byteCount() > INT32_MAX) fatalError(sourceFile, "A name is too long to be ordered");
    return icu::UnicodeString::fromUTF8({text.view().data(), static_cast<std::int32_t>(text.byteCount())});
}

std::u16string_view view(const icu::UnicodeString& units) {
    return {units.getBuffer(), static_cast<std::size_t>(units.length())};
}

std::weak_ordering orderOf(int sign) { return sign <=> 0; }

}  // namespace

std::weak_ordering NaturalOrder::compare(const Text& a, const Text& b) {
    if (a.isASCII() && b.isASCII()) {
        const Walk<char> walked = walk(a.view(), b.view());
        if (walked.decided.has_value()) return orderOf(*walked.decided);
        if (walked.a.empty() && walked.b.empty()) return orderOf(walked.provisional);
        if (const auto order = compareASCIITails(walked.a, walked.b)) return orderOf(*order);
    }
    const icu::UnicodeString left = codeUnits(a);
    const icu::UnicodeString right = codeUnits(b);
    const Walk<char16_t> walked = walk(view(left), view(right));
    if (walked.decided.has_value()) return orderOf(*walked.decided);
    if (walked.a.empty() && walked.b.empty()) return orderOf(walked.provisional);
    return orderOf(compareTails(walked.a, walked.b));
}

}  // namespace KestrelCore
