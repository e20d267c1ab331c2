#include "KestrelCore/Base/NaturalOrder.hpp"

#include "Base/FatalError.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <unicode/uchar.h>
#include <unicode/ucol.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>
#include <utility>

// Two names are walked from their starts in UTF-16 code units. Where both have digits, the whole runs are compared by
// value: unequal values decide, equal ones of unequal length (leading zeros) give a provisional result. At the first
// other difference the root collation decides between the two tails, in three passes (letters, accents, case), and
// after those the code units. Only names without any other difference keep the provisional result.
//
// That comparison of two names can't order a list. It wraps numbers at 64 bits where it walks and not in the tails, and
// a difference in case counts or not depending on what stands before it in the other name, so that three names can each
// be before the next:
//
//     A18446744073709551616  <  A0000000000000000000000000 (both 0, the second longer)  <  a1  <  the first
//     01Aé  <  1aÉ  <  1Aé  <  01Aé
//
// A list is ordered by a sequence of comparisons each of which is of one property of a whole name: its letters and the
// values of its numbers, then its accents, then from left to right the lengths of its numbers and the case of its
// letters, then what is left. Names as people give them stand in the same order either way.

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
    std::uint64_t value = 0;  ///< wraps at 64 bits, as the order of the platform does
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

bool isPrintable(char c) { return c >= ' ' && c <= '~'; }

/// What two names of printable ASCII differ in; each is the sign of the first difference of its kind, or 0.
struct ASCIIDifferences {
    int byLetters = 0;  ///< letters, punctuation, or the value of a number
    int byCase = 0;     ///< small letters come first
    int byTrait = 0;    ///< case, or the length of a number with its leading zeros: whichever differs first
};

/// The differences in `byCase` and `byTrait` are those in front of the one in `byLetters`, where there is one. Empty
/// when a name holds anything but printable ASCII, or a number that is too long.
std::optional<ASCIIDifferences> differencesOf(std::string_view a, std::string_view b) {
    const PrimaryRanks& ranks = primaryRanks();
    ASCIIDifferences found;
    const auto noteTrait = [&found](int sign) {
        if (found.byTrait == 0) found.byTrait = sign;
    };
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (!isPrintable(a[i]) || !isPrintable(b[j])) return std::nullopt;
        if (isDigit(a[i]) && isDigit(b[j])) {
            const std::size_t leftEnd = digitRun(a, i).end;
            const std::size_t rightEnd = digitRun(b, j).end;
            if (leftEnd - i > longestNumber || rightEnd - j > longestNumber) return std::nullopt;
            const int byLength = signOf(leftEnd - i <=> rightEnd - j);
            while (i + 1 < leftEnd && a[i] == '0') ++i;
            while (j + 1 < rightEnd && b[j] == '0') ++j;
            found.byLetters = signOf(leftEnd - i <=> rightEnd - j);
            if (found.byLetters == 0)
                found.byLetters = signOf(a.substr(i, leftEnd - i).compare(b.substr(j, rightEnd - j)) <=> 0);
            if (found.byLetters != 0) break;
            noteTrait(byLength);
            i = leftEnd;
            j = rightEnd;
            continue;
        }
        const auto left = ranks[static_cast<unsigned char>(a[i])];
        const auto right = ranks[static_cast<unsigned char>(b[j])];
        if (left != right) {
            found.byLetters = left < right ? -1 : 1;
            break;
        }
        if (a[i] != b[j]) {
            const int byCase = a[i] > b[j] ? -1 : 1;
            if (found.byCase == 0) found.byCase = byCase;
            noteTrait(byCase);
        }
        ++i;
        ++j;
    }
    // A character that is ignored could stand behind the difference, in a number or alone.
    if (!std::all_of(a.begin() + static_cast<std::ptrdiff_t>(i), a.end(), isPrintable) ||
        !std::all_of(b.begin() + static_cast<std::ptrdiff_t>(j), b.end(), isPrintable)) {
        return std::nullopt;
    }
    if (found.byLetters == 0) found.byLetters = i < a.size() ? 1 : j < b.size() ? -1 : 0;
    return found;
}

/// What the three passes give for printable ASCII, without them: no such character is ignored, combines with another
/// or has an accent, so the first pass compares places and numbers, the second nothing, and the third the first letter
/// that differs in case. Empty when a tail holds anything else.
std::optional<int> compareASCIITails(std::string_view a, std::string_view b) {
    const std::optional<ASCIIDifferences> differences = differencesOf(a, b);
    if (!differences.has_value()) return std::nullopt;
    if (differences->byLetters != 0) return differences->byLetters;
    return differences->byCase != 0 ? differences->byCase : signOf(a.compare(b) <=> 0);
}

/// The next trait of a name that the passes weigh less than its letters and accents: how long a number is written, or
/// whether a letter is a capital. Depends on this one name only. Empty at its end, which sorts first.
std::optional<std::size_t> nextTrait(std::u16string_view name, std::size_t& index) {
    constexpr std::size_t small = 0;  // and numbers between, which are at least 1 long
    constexpr std::size_t capital = SIZE_MAX;
    while (index < name.size()) {
        if (isDigit(name[index])) {
            const std::size_t begin = std::exchange(index, digitRun(name, index).end);
            return index - begin;
        }
        UChar32 scalar = 0;
        U16_NEXT(name.data(), index, name.size(), scalar);
        if (u_isUUppercase(scalar) != 0) return capital;
        if (u_isULowercase(scalar) != 0) return small;
    }
    return std::nullopt;
}

int compareTraits(std::u16string_view a, std::u16string_view b) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (true) {
        const std::optional<std::size_t> left = nextTrait(a, i);
        const std::optional<std::size_t> right = nextTrait(b, j);
        if (left != right) return left < right ? -1 : 1;
        if (!left.has_value()) return 0;
    }
}

/// Each step compares what one name gives by itself with what the other does, so their sequence is a total order.
int compareInListSlowly(std::u16string_view a, std::u16string_view b) {
    const auto& [letters, accents, details] = collators();
    if (const int result = letters.compare(a, b); result != 0) return result;
    if (const int result = accents.compare(a, b); result != 0) return result;
    if (const int result = compareTraits(a, b); result != 0) return result;
    if (const int result = details.compare(a, b); result != 0) return result;
    return signOf(a.compare(b) <=> 0);
}

/// How much of both names is the same and no part of a number that goes on behind.
std::size_t commonPrefixLength(std::string_view a, std::string_view b) {
    const std::size_t shorter = std::min(a.size(), b.size());
    std::size_t length = 0;
    while (length < shorter && a[length] == b[length] && isPrintable(a[length])) ++length;
    while (length > 0 && isDigit(a[length - 1])) --length;
    return length;
}

/// The UTF-16 code units of a text, which is what the collation and the reference order compare.
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

std::weak_ordering NaturalOrder::compareInList(const Text& a, const Text& b) {
    if (a.isASCII() && b.isASCII()) {
        const std::size_t common = commonPrefixLength(a.view(), b.view());
        if (const auto differences = differencesOf(a.view().substr(common), b.view().substr(common)))
            return orderOf(differences->byLetters != 0 ? differences->byLetters : differences->byTrait);
    }
    const icu::UnicodeString left = codeUnits(a);
    const icu::UnicodeString right = codeUnits(b);
    return orderOf(compareInListSlowly(view(left), view(right)));
}

}  // namespace KestrelCore
