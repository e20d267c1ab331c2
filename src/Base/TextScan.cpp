#include "Base/TextScan.hpp"

#include "Base/FatalError.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <unicode/brkiter.h>
#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>
#include <unicode/utext.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

// File names are nearly all ASCII, and nearly all of the rest is Latin or already normalised. Every function here first
// looks at the bytes with a cheap test, and only what is left reaches ICU.

namespace KestrelCore {

namespace {

constexpr std::string_view sourceFile = "KestrelCore/TextScan";

/// The first byte of U+0300's form: a well-formed text without such a byte or a higher one stays below that scalar.
constexpr unsigned char firstByteOfU0300 = 0xCC;

void check(UErrorCode status) {
    if (U_FAILURE(status)) fatalError(sourceFile, u_errorName(status));
}

unsigned char byteAt(std::string_view bytes, std::size_t index) { return static_cast<unsigned char>(bytes[index]); }

std::uint64_t wordAt(const char* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

/// What begins at `index`, which moves behind it, in bytes that may be anything: a scalar, or below 0 for a maximal
/// ill-formed piece.
UChar32 nextOf(std::string_view bytes, std::size_t& index) {
    const auto* const units = reinterpret_cast<const std::uint8_t*>(bytes.data());
    UChar32 scalar = 0;
    U8_NEXT(units, index, bytes.size(), scalar);
    return scalar;
}

UChar32 nextScalar(std::string_view wellFormed, std::size_t& index) {
    UChar32 scalar = 0;
    U8_NEXT_UNSAFE(wellFormed.data(), index, scalar);
    return scalar;
}

const icu::Normalizer2& composer() {
    static const icu::Normalizer2& instance = [&]() -> const icu::Normalizer2& {
        UErrorCode status = U_ZERO_ERROR;
        const icu::Normalizer2* found = icu::Normalizer2::getNFCInstance(status);
        check(status);
        return *found;
    }();
    return instance;
}

const icu::Normalizer2& decomposer() {
    static const icu::Normalizer2& instance = [&]() -> const icu::Normalizer2& {
        UErrorCode status = U_ZERO_ERROR;
        const icu::Normalizer2* found = icu::Normalizer2::getNFDInstance(status);
        check(status);
        return *found;
    }();
    return instance;
}

icu::StringPiece piece(std::string_view bytes) {
    // ICU counts in 32 bits. No path, name or payload text comes near; a text that does is a broken invariant.
    if (bytes.size() > INT32_MAX) fatalError(sourceFile, "A text is too long to be analysed");
    return icu::StringPiece{bytes.data(), static_cast<std::int32_t>(bytes.size())};
}

std::string normalizedBy(const icu::Normalizer2& normalizer, std::string_view wellFormed) {
    std::string result;
    icu::StringByteSink<std::string> sink{&result};
    UErrorCode status = U_ZERO_ERROR;
    normalizer.normalizeUTF8(0, piece(wellFormed), sink, nullptr, status);
    check(status);
    return result;
}

/// From this many bytes on, marks are put in order here: ICU inserts each at its place, which takes time by the square
/// of how many follow one letter.
constexpr std::size_t fewestBytesOfLongText = 1024;

/// No scalar below this one decomposes.
constexpr UChar32 firstDecomposing = 0xC0;

/// The normal form D of a long text, in time that hardly grows faster than the text.
std::string decomposedLong(std::string_view wellFormed) {
    struct Mark {
        std::uint8_t combiningClass;
        UChar32 scalar;
    };
    std::string result;
    result.reserve(wellFormed.size());
    std::vector<Mark> marks;  // since the last scalar that is none
    const auto flush = [&] {
        std::stable_sort(marks.begin(), marks.end(),
                         [](const Mark& a, const Mark& b) { return a.combiningClass < b.combiningClass; });
        for (const Mark& mark : marks) appendUTF8(mark.scalar, result);
        marks.clear();
    };
    const auto add = [&](UChar32 scalar) {
        const std::uint8_t combiningClass = decomposer().getCombiningClass(scalar);
        if (combiningClass != 0) {
            marks.push_back({combiningClass, scalar});
            return;
        }
        flush();
        appendUTF8(scalar, result);
    };
    icu::UnicodeString pieces;
    for (std::size_t index = 0; index < wellFormed.size();) {
        const UChar32 scalar = nextScalar(wellFormed, index);
        if (scalar < firstDecomposing || !decomposer().getDecomposition(scalar, pieces)) {
            add(scalar);
            continue;
        }
        for (std::int32_t at = 0; at < pieces.length(); at = pieces.moveIndex32(at, 1)) add(pieces.char32At(at));
    }
    flush();
    return result;
}

/// ICU's simple mapping, but for the one scalar whose full mapping without context has two scalars.
void appendLowercase(UChar32 scalar, std::string& text) {
    if (scalar == 0x130) {
        text += "i\u0307";
    } else {
        appendUTF8(u_tolower(scalar), text);
    }
}

void appendFolded(UChar32 scalar, std::string& text) {
    // The folding of the Cherokee capitals is to themselves; the reference behaviour lowercases them.
    if (scalar >= 0x13A0 && scalar <= 0x13F5) {
        appendUTF8(u_tolower(scalar), text);
        return;
    }
    std::array<char16_t, 2> source;
    std::int32_t sourceLength = 0;
    U16_APPEND_UNSAFE(source.data(), sourceLength, scalar);
    std::array<char16_t, 8> folded;
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t length =
        u_strFoldCase(folded.data(), folded.size(), source.data(), sourceLength, U_FOLD_CASE_DEFAULT, &status);
    check(status);
    for (std::int32_t index = 0; index < length;) {
        UChar32 mapped = 0;
        U16_NEXT_UNSAFE(folded.data(), index, mapped);
        appendUTF8(mapped, text);
    }
}

char asciiLowercase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

/// Maps ASCII byte by byte and leaves every other scalar to `appendMapped`.
template <typename AppendMapped>
void mapScalars(std::string_view wellFormed, std::string& appendTo, AppendMapped appendMapped) {
    std::size_t index = 0;
    while (index < wellFormed.size()) {
        const std::size_t run = asciiPrefixLength(wellFormed.substr(index));
        const std::size_t old = appendTo.size();
        appendTo.resize(old + run);
        std::transform(wellFormed.begin() + static_cast<std::ptrdiff_t>(index),
                       wellFormed.begin() + static_cast<std::ptrdiff_t>(index + run),
                       appendTo.begin() + static_cast<std::ptrdiff_t>(old), asciiLowercase);
        index += run;
        while (index < wellFormed.size() && byteAt(wellFormed, index) >= 0x80) {
            appendMapped(nextScalar(wellFormed, index), appendTo);
        }
    }
}

/// ICU's iterator over the characters of one text. Opening one costs far more than using it, so each thread keeps one
/// (they hold a position and can't be shared); the text is let go at once.
class CharacterIterator {
public:
    explicit CharacterIterator(std::string_view wellFormed) : iterator_{ofThisThread()} {
        UErrorCode status = U_ZERO_ERROR;
        const icu::StringPiece bytes = piece(wellFormed);
        utext_openUTF8(&text_, bytes.data(), bytes.length(), &status);
        iterator_.setText(&text_, status);
        check(status);
    }
    ~CharacterIterator() { utext_close(&text_); }
    CharacterIterator(const CharacterIterator&) = delete;
    CharacterIterator& operator=(const CharacterIterator&) = delete;

    icu::BreakIterator* operator->() { return &iterator_; }

private:
    static icu::BreakIterator& ofThisThread() {
        thread_local const std::unique_ptr<icu::BreakIterator> instance = [] {
            UErrorCode status = U_ZERO_ERROR;
            std::unique_ptr<icu::BreakIterator> made{
                icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status)};
            check(status);
            return made;
        }();
        return *instance;
    }

    UText text_ = UTEXT_INITIALIZER;
    icu::BreakIterator& iterator_;
};

}  // namespace

std::size_t asciiPrefixLength(std::string_view bytes) noexcept {
    constexpr std::uint64_t highBits = 0x8080808080808080U;
    std::size_t index = 0;
    while (index + 16 <= bytes.size() &&
           ((wordAt(bytes.data() + index) | wordAt(bytes.data() + index + 8)) & highBits) == 0) {
        index += 16;
    }
    while (index < bytes.size() && byteAt(bytes, index) < 0x80) ++index;
    return index;
}

bool isASCII(std::string_view bytes) noexcept { return asciiPrefixLength(bytes) == bytes.size(); }

bool isPlainLatin(std::string_view wellFormed) noexcept {
    // Written without an early exit inside a block, so that compilers turn it into vector instructions.
    constexpr std::size_t block = 64;
    std::size_t index = 0;
    for (; index + block <= wellFormed.size(); index += block) {
        unsigned char highest = 0;
        for (std::size_t offset = 0; offset < block; ++offset) {
            highest = std::max(highest, byteAt(wellFormed, index + offset));
        }
        if (highest >= firstByteOfU0300) return false;
    }
    for (; index < wellFormed.size(); ++index) {
        if (byteAt(wellFormed, index) >= firstByteOfU0300) return false;
    }
    return true;
}

bool isWellFormedUTF8(std::string_view bytes) noexcept {
    std::size_t index = asciiPrefixLength(bytes);
    while (index < bytes.size()) {
        if (nextOf(bytes, index) < 0) return false;
    }
    return true;
}

std::string repairedUTF8(std::string_view bytes) {
    std::string result;
    result.reserve(bytes.size() + 2);
    std::size_t index = 0;
    while (index < bytes.size()) {
        const std::size_t begin = index;
        if (nextOf(bytes, index) >= 0) {
            result.append(bytes.substr(begin, index - begin));
        } else {
            result += "\uFFFD";
        }
    }
    return result;
}

std::string utf8FromUTF16(std::u16string_view units) {
    if (units.size() > INT32_MAX) fatalError(sourceFile, "A text is too long to be converted");
    std::string result;
    icu::UnicodeString{false, units.data(), static_cast<std::int32_t>(units.size())}.toUTF8String(result);
    return result;
}

void appendUTF8(std::int32_t scalar, std::string& appendTo) {
    std::array<char, U8_MAX_LENGTH> encoded;
    std::size_t length = 0;
    U8_APPEND_UNSAFE(encoded.data(), length, scalar);
    appendTo.append(encoded.data(), length);
}

bool isNormalizedUTF8(std::string_view wellFormed) {
    if (isPlainLatin(wellFormed)) return true;
    if (wellFormed.size() >= fewestBytesOfLongText) return normalizedUTF8(wellFormed) == wellFormed;
    UErrorCode status = U_ZERO_ERROR;
    const bool result = composer().isNormalizedUTF8(piece(wellFormed), status);
    check(status);
    return result;
}

std::string normalizedUTF8(std::string_view wellFormed) {
    if (isPlainLatin(wellFormed)) return std::string{wellFormed};
    if (wellFormed.size() >= fewestBytesOfLongText) return normalizedBy(composer(), decomposedLong(wellFormed));
    return normalizedBy(composer(), wellFormed);
}

std::string decomposedUTF8(std::string_view wellFormed) {
    if (isASCII(wellFormed)) return std::string{wellFormed};
    if (wellFormed.size() >= fewestBytesOfLongText) return decomposedLong(wellFormed);
    return normalizedBy(decomposer(), wellFormed);
}

void lowercase(std::string_view wellFormed, std::string& appendTo) {
    mapScalars(wellFormed, appendTo, appendLowercase);
}

void foldCase(std::string_view wellFormed, std::string& appendTo) { mapScalars(wellFormed, appendTo, appendFolded); }

std::vector<std::size_t> characterEnds(std::string_view wellFormed) {
    std::vector<std::size_t> ends;
    if (isPlainLatin(wellFormed)) {
        for (std::size_t index = 1; index <= wellFormed.size(); ++index) {
            if (isCharacterBoundary(wellFormed, index)) ends.push_back(index);
        }
        return ends;
    }
    CharacterIterator iterator{wellFormed};
    while (iterator->next() != icu::BreakIterator::DONE) ends.push_back(static_cast<std::size_t>(iterator->current()));
    return ends;
}

bool isCharacterBoundary(std::string_view wellFormed, std::size_t offset) {
    if (offset == 0 || offset >= wellFormed.size()) return true;
    if (isContinuation(byteAt(wellFormed, offset))) return false;
    std::size_t before = offset - 1;
    while (isContinuation(byteAt(wellFormed, before))) --before;
    // Below U+0300 nothing extends a character or takes one in.
    if (byteAt(wellFormed, before) < firstByteOfU0300 && byteAt(wellFormed, offset) < firstByteOfU0300) {
        return wellFormed[before] != '\r' || wellFormed[offset] != '\n';
    }
    CharacterIterator iterator{wellFormed};
    return iterator->isBoundary(static_cast<std::int32_t>(offset)) != 0;
}

}  // namespace KestrelCore
