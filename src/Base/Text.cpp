#include "KestrelCore/Base/Text.hpp"

#include "Base/FatalError.hpp"
#include "Base/SeededHash.hpp"
#include "Base/TextOccurrence.hpp"
#include "Base/TextScan.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

// A text is a window on a shared buffer: one block of memory that starts with the count of its users and goes on with
// the bytes. The two form bits are found when a text is made and are what later operations branch on:
//
//   - ASCII text is its own normal form, so comparing, hashing and searching are operations on bytes.
//   - Text in normal form C compares byte by byte too, since equal texts have one normal form, and the order of UTF-8
//     bytes is the order of scalars.
//   - Only the rest is normalised, each time it is asked. Such texts are rare: decomposed names from other systems.
//
// Normal form C is closed under substrings, so a slice inherits it; being ASCII must be found anew for a slice of a
// text that is not.

namespace KestrelCore {

namespace {

constexpr std::string_view sourceFile = "KestrelCore/Text";

// Hosts read the handle in code of their own, see the class comment.
static_assert(sizeof(Text) == 2 * sizeof(void*) + sizeof(std::uint64_t) && alignof(Text) == alignof(std::uint64_t));

bool isScalarBoundary(std::string_view text, std::size_t offset) {
    return offset == text.size() || (static_cast<unsigned char>(text[offset]) & 0xC0) != 0x80;
}

UChar32 firstScalar(std::string_view wellFormed) {
    std::size_t index = 0;
    UChar32 scalar = 0;
    U8_NEXT_UNSAFE(wellFormed.data(), index, scalar);
    return scalar;
}

UChar32 lastScalar(std::string_view wellFormed) {
    std::size_t begin = wellFormed.size() - 1;
    while (!isScalarBoundary(wellFormed, begin)) --begin;
    return firstScalar(wellFormed.substr(begin));
}

/// The first scalar of the normal form D.
UChar32 decomposedStart(UChar32 scalar) {
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* decomposer = unorm2_getNFDInstance(&status);
    std::array<char16_t, 32> decomposed;
    const std::int32_t length =
        U_FAILURE(status) ? -1 : unorm2_getDecomposition(decomposer, scalar, decomposed.data(), 32, &status);
    if (length <= 0 || U_FAILURE(status)) return scalar;
    std::int32_t index = 0;
    UChar32 first = 0;
    U16_NEXT(decomposed.data(), index, length, first);
    return first;
}

/// Whether an occurrence of `found` counts although `rest` follows it.
bool isWholeOccurrence(std::string_view found, std::string_view rest) {
    if (rest.empty() || static_cast<unsigned char>(rest.front()) < 0x80) return true;
    return !refusesOccurrence(lastScalar(found), decomposedStart(firstScalar(rest)));
}

/// Looks for an occurrence that counts, on bytes alone.
bool containsBytes(std::string_view text, std::string_view other) {
    for (std::size_t at = text.find(other); at != std::string_view::npos; at = text.find(other, at + 1)) {
        if (isWholeOccurrence(other, text.substr(at + other.size()))) return true;
    }
    return false;
}

bool isWhiteSpace(UChar32 scalar) {
    if (scalar < 0x80) return scalar == ' ' || (scalar >= '\t' && scalar <= '\r');
    return u_hasBinaryProperty(scalar, UCHAR_WHITE_SPACE) != 0;
}

bool isLetterOrNumber(UChar32 scalar) {
    if (scalar < 0x80) {
        const UChar32 lower = scalar | 0x20;
        return (lower >= 'a' && lower <= 'z') || (scalar >= '0' && scalar <= '9');
    }
    return u_hasBinaryProperty(scalar, UCHAR_ALPHABETIC) != 0 ||
           u_getIntPropertyValue(scalar, UCHAR_NUMERIC_TYPE) != U_NT_NONE;
}

bool isWhiteSpaceCharacter(std::string_view character) { return isWhiteSpace(firstScalar(character)); }

bool isWordCharacter(std::string_view character) {
    return character == "." || isLetterOrNumber(firstScalar(character));
}

/// The maximal runs of characters for which `isInside` holds.
template <typename IsInside>
std::vector<Text> runs(const Text& text, IsInside isInside) {
    std::vector<Text> result;
    const std::string_view bytes = text.view();
    std::size_t begin = 0;  // of the run, or of the character that is looked at when there is none
    std::size_t last = 0;
    const auto take = [&](std::size_t end) {
        if (!isInside(bytes.substr(last, end - last))) {
            if (last > begin) result.push_back(text.slice(begin, last - begin));
            begin = end;
        }
        last = end;
    };
    if (text.isASCII()) {
        // CR LF is one character, but both parts answer alike.
        for (std::size_t end = 1; end <= bytes.size(); ++end) take(end);
    } else {
        for (const std::size_t end : characterEnds(bytes)) take(end);
    }
    if (last > begin) result.push_back(text.slice(begin, last - begin));
    return result;
}

}  // namespace

/// Followed by the bytes in the same block.
struct Text::Buffer {
    std::atomic<std::size_t> users = 1;

    char* bytes() { return reinterpret_cast<char*>(this + 1); }

    static Buffer* make(std::size_t byteCount) {
        void* block = std::malloc(sizeof(Buffer) + byteCount);
        if (block == nullptr) throw std::bad_alloc{};
        return new (block) Buffer;
    }
};

void Text::retain() const noexcept { owner_->users.fetch_add(1, std::memory_order_relaxed); }

void Text::release() noexcept {
    if (owner_->users.fetch_sub(1, std::memory_order_acq_rel) == 1) std::free(owner_);
}

Text Text::fromWellFormed(std::string_view bytes, std::uint64_t form) {
    Text text;
    if (bytes.empty()) return text;
    text.owner_ = Buffer::make(bytes.size());
    std::memcpy(text.owner_->bytes(), bytes.data(), bytes.size());
    text.data_ = text.owner_->bytes();
    text.sizeAndForm_ = bytes.size() << formBits | form;
    return text;
}

std::uint64_t Text::formOf(std::string_view wellFormed) {
    if (KestrelCore::isASCII(wellFormed)) return asciiForm | normalForm;
    return isNormalizedUTF8(wellFormed) ? normalForm : 0;
}

Text::Text(std::string_view bytes) {
    if (KestrelCore::isASCII(bytes)) {
        *this = fromWellFormed(bytes, asciiForm | normalForm);
    } else if (isWellFormedUTF8(bytes)) {
        *this = fromWellFormed(bytes, isNormalizedUTF8(bytes) ? normalForm : 0);
    } else {
        const std::string repaired = repairedUTF8(bytes);
        *this = fromWellFormed(repaired, formOf(repaired));
    }
}

Text Text::concatenating(std::initializer_list<std::string_view> pieces) {
    std::size_t size = 0;
    bool areASCII = true;
    for (const std::string_view piece : pieces) {
        size += piece.size();
        areASCII = areASCII && KestrelCore::isASCII(piece);
    }
    if (!areASCII) {
        std::string joined;
        joined.reserve(size);
        for (const std::string_view piece : pieces) {
            if (isWellFormedUTF8(piece)) {
                joined += piece;
            } else {
                joined += repairedUTF8(piece);
            }
        }
        // Two pieces in normal form may compose where they meet, so the whole is looked at.
        return fromWellFormed(joined, formOf(joined));
    }
    Text text;
    if (size == 0) return text;
    text.owner_ = Buffer::make(size);
    char* out = text.owner_->bytes();
    text.data_ = out;
    text.sizeAndForm_ = size << formBits | asciiForm | normalForm;
    for (const std::string_view piece : pieces) {
        if (piece.empty()) continue;
        std::memcpy(out, piece.data(), piece.size());
        out += piece.size();
    }
    return text;
}

std::size_t Text::count() const {
    const std::string_view bytes = view();
    if (!isASCII()) return characterEnds(bytes).size();
    std::size_t pairs = 0;
    for (std::size_t at = bytes.find("\r\n"); at != std::string_view::npos; at = bytes.find("\r\n", at + 2)) ++pairs;
    return bytes.size() - pairs;
}

Text Text::slice(std::size_t offset, std::size_t length) const {
    const std::string_view bytes = view();
    if (offset > bytes.size() || length > bytes.size() - offset || !isScalarBoundary(bytes, offset) ||
        !isScalarBoundary(bytes, offset + length)) {
        fatalError(sourceFile, "A slice must lie inside its text, on scalar boundaries");
    }
    Text text;
    if (length == 0) return text;
    std::uint64_t form = sizeAndForm_ & (asciiForm | normalForm);
    if (!isASCII()) {
        const std::string_view part = bytes.substr(offset, length);
        form = isNormalized() ? normalForm | (KestrelCore::isASCII(part) ? asciiForm : 0) : formOf(part);
    }
    text.data_ = data_ + offset;
    text.sizeAndForm_ = length << formBits | form;
    text.owner_ = owner_;
    text.retain();
    return text;
}

Text Text::normalized() const {
    if (isNormalized()) return *this;
    const std::string normal = normalizedUTF8(view());
    return fromWellFormed(normal, formOf(normal));
}

bool Text::equalSlowly(const Text& a, const Text& b) {
    return a.view() == b.view() || a.normalized().view() == b.normalized().view();
}

std::weak_ordering Text::compareSlowly(const Text& a, const Text& b) {
    return a.normalized().view().compare(b.normalized().view()) <=> 0;
}

std::size_t Text::hash() const {
    return static_cast<std::size_t>(isNormalized() ? seededHash(view()) : seededHash(normalizedUTF8(view())));
}

bool Text::hasPrefix(const Text& prefix) const {
    if (!isNormalized() || !prefix.isNormalized()) return normalized().hasPrefix(prefix.normalized());
    return view().starts_with(prefix.view()) && isCharacterBoundary(view(), prefix.byteCount());
}

bool Text::hasSuffix(const Text& suffix) const {
    if (!isNormalized() || !suffix.isNormalized()) return normalized().hasSuffix(suffix.normalized());
    return view().ends_with(suffix.view()) && isCharacterBoundary(view(), byteCount() - suffix.byteCount());
}

bool Text::contains(const Text& other) const {
    if (other.isEmpty()) return false;
    if (isASCII() && other.isASCII()) return view().find(other.view()) != std::string_view::npos;
    if (!isNormalized() || !other.isNormalized()) {
        return containsBytes(decomposedUTF8(view()), decomposedUTF8(other.view()));
    }
    // The normal form of what is not ASCII is not ASCII.
    if (isASCII()) return false;
    // Below U+0300 no scalar is a mark or part of one, so whole occurrences are the same in both normal forms. An ASCII
    // text, too, occurs in a composed text where it does in the decomposed one: what composes with its last letter is
    // a mark that would refuse the occurrence.
    if (isPlainLatin(other.view()) && (other.isASCII() || isPlainLatin(view()))) {
        return containsBytes(view(), other.view());
    }
    return containsBytes(decomposedUTF8(view()), decomposedUTF8(other.view()));
}

Text Text::lowercased() const {
    const std::string_view bytes = view();
    if (isASCII() && std::none_of(bytes.begin(), bytes.end(), [](char c) { return c >= 'A' && c <= 'Z'; })) {
        return *this;
    }
    std::string mapped;
    lowercase(bytes, mapped);
    if (mapped == bytes) return *this;
    return fromWellFormed(mapped, isASCII() ? asciiForm | normalForm : formOf(mapped));
}

Text Text::folded() const {
    if (isASCII()) return lowercased();
    std::string mapped;
    foldCase(view(), mapped);
    if (mapped == view()) return *this;
    return fromWellFormed(mapped, formOf(mapped));
}

std::vector<Text> Text::splitAtWhiteSpace() const {
    return runs(*this, [](std::string_view character) { return !isWhiteSpaceCharacter(character); });
}

std::vector<Text> Text::words() const { return runs(*this, isWordCharacter); }

}  // namespace KestrelCore
